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

/** Returns a request to read or write registers. The device name must end with the register width, 8, 16 or 32. */
Request readOf(const std::string& name, std::uint32_t address, std::uint32_t items = 1);
Request writeOf(const std::string& name, std::uint32_t address, const Values& values);
Request masked(Request write, std::uint32_t bitmask);
/**
 * Returns a request to raise a simulated interrupt. If `word` is empty, the interrupt word is the number of interrupts
 * of the device so far, including this one.
 */
Request raiseOf(const std::string& name, const Values& word = {});

Values valuesOf(const Response& response);

/**
 * A client that sends and receives records, including malformed ones. Sending and receiving time out after a minute.
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

    /** Returns a client that owns a connected socket. */
    static RecordClient on(int socket) { return RecordClient(Socket{socket}); }

    int socket() const { return m_socket; }

    bool send(const Rynvel::IMessage& message) const;
    bool send(const void* bytes, std::size_t size) const;
    /** Returns false if the connection ends or a minute passes before the record is complete. */
    bool receive(Rynvel::IMessage& message) const;

    /** Returns the answer to a request. If there is no answer, returns a response with the invalid result 1. */
    Response exchange(const Request& request) const;
    bool succeeds(const Request& request) const { return exchange(request).isSuccessful(); }
    /** Returns whether the result in the answer is Error. */
    bool isRefused(const Request& request) const;
    Values values(const Request& request) const { return valuesOf(exchange(request)); }
    /** Expects the server to open the device. */
    void open(const std::string& device) const;
    /** Expects the server to open the device and to arm the connection. */
    void arm(const std::string& device) const;

    /** Returns the next interrupt word, or all ones if the connection ends or a minute passes. */
    std::uint32_t interrupt() const;
    /** Returns whether the connection is open and has no bytes to receive at this moment. */
    bool hasNothing() const;
    /** Waits until the server ends the connection. Returns false if the server sends anything or a minute passes. */
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
