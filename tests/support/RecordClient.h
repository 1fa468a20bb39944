#ifndef RYNVEL_TESTS_RECORDCLIENT_H
#define RYNVEL_TESTS_RECORDCLIENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <rynvel.hpp>

namespace RynvelTest {

/** A request with an address and values. */
Rynvel::Request requestOf(Rynvel::RequestData::Type type, const std::string& name, std::uint32_t address = 0,
                          const std::vector<std::uint32_t>& values = {});
/** A request for so many values. */
Rynvel::Request readOf(Rynvel::RequestData::Type type, const std::string& name, std::uint32_t address,
                       std::uint32_t items = 1);
std::vector<std::uint32_t> valuesOf(const Rynvel::Response& response);

/**
 * A client that speaks the records themselves, and may do so badly. What does not come within a minute does not come
 * at all.
 */
class RecordClient {
public:
    /** Connects to a server on this machine. */
    explicit RecordClient(std::uint16_t port);
    RecordClient(const RecordClient&) = delete;
    RecordClient(RecordClient&& other) noexcept;
    RecordClient& operator=(const RecordClient&) = delete;
    RecordClient& operator=(RecordClient&&) = delete;
    ~RecordClient();

    /** Takes over a connected socket. */
    static RecordClient on(int socket) { return RecordClient(Socket{socket}); }

    int socket() const { return m_socket; }

    bool send(const Rynvel::IMessage& message) const;
    bool send(const void* bytes, std::size_t size) const;
    /** False when the connection has ended before the record was whole. */
    bool receive(Rynvel::IMessage& message) const;

    /** The answer to a request; an answer with the result 1 when there is none. */
    Rynvel::Response exchange(const Rynvel::Request& request) const;
    bool succeeds(const Rynvel::Request& request) const { return exchange(request).isSuccessful(); }
    /** Whether the answer is Error. */
    bool isRefused(const Rynvel::Request& request) const;

    /** The next interrupt's word; all ones when the connection has ended. */
    std::uint32_t interrupt() const;
    /** Waits for the server to end the connection; false when it sends something instead. */
    bool isEnded() const;
    /** Ends the connection, and lets the server find it broken. */
    void reset();

private:
    struct Socket {
        int descriptor;
    };
    explicit RecordClient(Socket socket);

    int m_socket;
};

} // namespace RynvelTest

#endif
