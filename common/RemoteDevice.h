/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Accesses a device of a register server directly, without the class Remote of the library.
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
 * Accesses a device of a register server with the same requests as the remote devices of the library. Unlike those
 * devices, this class waits for whole responses, has deadlines, and checks each response. Throws an ExchangeError for
 * every failure.
 *
 * The server passes an address on to its device unchanged. Values are the low `width` bits of a word.
 *
 * Use an object in one thread at a time.
 */
class RemoteDevice {
public:
    /**
     * Connects to the server, and makes the server open the device.
     *
     * @param name the device name at the server, at most 127 characters.
     * @param width the register width in bits: 8, 16 or 32.
     * @param deadlineFactory returns the deadline for the connection, and for each exchange.
     * @param waitCallback the function to call during waits; empty for none.
     */
    RemoteDevice(ServerAddress server, std::string name, unsigned int width, DeadlineFactory deadlineFactory,
                 WaitCallback waitCallback = {});

    /** Returns whether the server has ended the connection for requests, so that the next request would fail. */
    bool hasEnded() const { return m_requests.hasEnded(); }

    std::uint32_t read(std::uint32_t address);
    /** Reads a burst. @param items the number of registers, at most 128. */
    std::vector<std::uint32_t> read(std::uint32_t address, std::uint32_t items, Rynvel::ByteOrder order);
    void write(std::uint32_t address, std::uint32_t value);
    /** Writes with a mask, which the server applies. Sends no request if the mask is 0. */
    void write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask);

    /** Writes a burst, in host order. @param items the number of registers, at most 128. */
    void write(std::uint32_t address, const std::uint32_t* values, std::uint32_t items);

    /** Sends an ioctl request. @return the result of the device; 0 if the server does not report the result. */
    int ioctl(std::uint32_t command, std::uint32_t argument);

    /**
     * Returns the interrupt type; empty if the server refuses the request, for instance because the device has no
     * interrupts.
     */
    std::optional<std::uint32_t> interruptType();
    void enableInterrupt();
    void disableInterrupt();
    /** Raises an interrupt with this interrupt word. Works only on servers that simulate the device. */
    void raiseInterrupt(std::uint32_t word);

    /**
     * Opens and arms a second connection, over which the server then reports the interrupts.
     *
     * @return the socket of the second connection, for poll(). The socket is readable when an interrupt begins to
     *          arrive, or when the connection has ended.
     */
    int arm();

    /** Closes the second connection, so that the server reports no further interrupts. */
    void disarm() { m_interrupts.reset(); }

    /** Waits for the next interrupt and returns its interrupt word. Call arm() first. */
    std::uint32_t receiveInterrupt(const Deadline& deadline);

    /**
     * Returns the interrupt word if a whole interrupt record has arrived. Does not wait, and does not call the
     * wait callback. Call arm() first. Do not use both this function and receiveInterrupt() after the same arm().
     */
    std::optional<std::uint32_t> takeInterrupt();

private:
    Rynvel::Request request(Rynvel::RequestData::Type type) const { return {type, m_name}; }
    Rynvel::Response execute(const Rynvel::Request& request);
    std::uint32_t valueIn(const Rynvel::Response& response, std::uint32_t index) const;
    std::vector<std::uint32_t> readValues(Rynvel::Request& readRequest, std::uint32_t address, std::uint32_t items);

    const ServerAddress m_server;
    const std::string m_name;
    const unsigned int m_width;
    const DeadlineFactory m_deadlineFactory;
    const WaitCallback m_waitCallback;
    RecordConnection m_requests;
    std::optional<RecordConnection> m_interrupts;
};

} // namespace Common

#endif
