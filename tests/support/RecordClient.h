/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_RECORDCLIENT_H
#define RYNVEL_TESTS_RECORDCLIENT_H

#include <rynvel.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace RynvelTest {

using Rynvel::Request;
using Rynvel::Response;
using Type = Rynvel::RequestData::Type;
using Values = std::vector<std::uint32_t>;

Request requestOf(Type type, const std::string& name, std::uint32_t address = 0, const Values& values = {});
Request readOf(Type type, const std::string& name, std::uint32_t address, std::uint32_t items = 1);

/** Reads or writes registers of the width that the device name ends with. */
Request readOf(const std::string& name, std::uint32_t address, std::uint32_t items = 1);
Request writeOf(const std::string& name, std::uint32_t address, const Values& values);
Request masked(Request write, std::uint32_t bitmask);
/** Raises a simulated interrupt. Without a value, its interrupt word is the number of interrupts so far. */
Request raiseOf(const std::string& name, const Values& word = {});

Values valuesOf(const Response& response);

/**
 * A client that sends and receives records, correct or not. It waits for an answer for at most a minute.
 */
class RecordClient {
public:
    /** Connects to a server on this machine. */
    explicit RecordClient(std::uint16_t port);
    /** Connects, and opens a device. */
    RecordClient(std::uint16_t port, const std::string& device) : RecordClient(port) { open(device); }
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
    /** Returns false if the connection ends before the record is complete. */
    bool receive(Rynvel::IMessage& message) const;

    /** The answer to a request. Without an answer, a response with the result 1. */
    Response exchange(const Request& request) const;
    bool succeeds(const Request& request) const { return exchange(request).isSuccessful(); }
    /** Tells whether the answer is Error. */
    bool isRefused(const Request& request) const;
    Values values(const Request& request) const { return valuesOf(exchange(request)); }
    /** Expects that the server opens the device. */
    void open(const std::string& device) const;
    /** Expects that the server opens the device, and arms the connection for its interrupts. */
    void arm(const std::string& device) const;

    /** The word of the next interrupt; all ones if the connection has ended. */
    std::uint32_t interrupt() const;
    /** Returns whether everything that the server has sent has been received. */
    bool hasNothing() const;
    /** Waits until the server ends the connection. Returns false if the server sends anything. */
    bool isEnded() const;
    /** Ends the connection with a reset. */
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
