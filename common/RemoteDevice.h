/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A device of a register server, without the library's remote devices.
 */
#ifndef RYNVEL_COMMON_REMOTEDEVICE_H
#define RYNVEL_COMMON_REMOTEDEVICE_H

#include <rynvel.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "RecordConnection.h"

namespace Common {

/**
 * Works with a device of a server, by the same requests as the library's remote devices. Unlike those, it waits for
 * whole responses, has deadlines, and checks each response. Every failure is thrown as an ExchangeError.
 *
 * Addresses are passed to the server's device unchanged. Values are the low `width` bits of a word.
 *
 * Threads: one at a time.
 */
class RemoteDevice {
public:
    /**
     * Connects, and makes the server open the device.
     *
     * @param name the device name at the server, at most 127 characters.
     * @param width the register width in bits: 8, 16 or 32.
     * @param deadlineFactory returns the deadline of connecting, and of each exchange.
     */
    RemoteDevice(ServerAddress server, std::string name, unsigned int width, DeadlineFactory deadlineFactory);

    std::uint32_t read(std::uint32_t address);
    /** @param items at most 128. */
    std::vector<std::uint32_t> read(std::uint32_t address, std::uint32_t items, Rynvel::ByteOrder order);
    void write(std::uint32_t address, std::uint32_t value);
    /** The server applies the mask. If the mask is 0, no request is sent. */
    void write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask);

    /** @return the device's result; 0 if the server does not report it. */
    int ioctl(std::uint32_t command, std::uint32_t argument);

    /** Empty if the server refuses the request, for instance because the device has no interrupts. */
    std::optional<std::uint32_t> interruptType();
    void enableInterrupt();
    void disableInterrupt();
    /** Works only on servers that simulate the device. */
    void raiseInterrupt(std::uint32_t word);

    /**
     * Arms a second connection, over which the server then reports the interrupts.
     *
     * @return the connection's descriptor, for poll(): readable when an interrupt begins to arrive, or when the
     *         connection has ended.
     */
    int arm();

    /** Waits for the next interrupt and returns its word. Call arm() first. */
    std::uint32_t receiveInterrupt(const Deadline& deadline);

private:
    Rynvel::Request request(Rynvel::RequestData::Type type) const { return {type, m_name}; }
    Rynvel::Response execute(const Rynvel::Request& request);
    std::uint32_t valueIn(const Rynvel::Response& response, std::uint32_t index) const;
    std::vector<std::uint32_t> readValues(Rynvel::Request& readRequest, std::uint32_t address, std::uint32_t items);

    const ServerAddress m_server;
    const std::string m_name;
    const unsigned int m_width;
    const DeadlineFactory m_deadlineFactory;
    RecordConnection m_requests;
    std::optional<RecordConnection> m_interrupts;
};

} // namespace Common

#endif
