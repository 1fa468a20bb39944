/**
 * @file
 * A device at a register server, by the register protocol alone.
 */
#ifndef RYNVEL_COMMON_REMOTEDEVICE_H
#define RYNVEL_COMMON_REMOTEDEVICE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <rynvel.hpp>

#include "RecordConnection.h"

namespace Common {

/**
 * Asks a server for what programs do with a device, by the requests that the library's remote devices make. Unlike
 * those it waits for whole answers and no longer than it is told to, and takes no answer for data that is none:
 * everything that fails is thrown as ExchangeError.
 *
 * Addresses are those of the server's device. Values are the low `width` bits of a word.
 *
 * Threads: one at a time.
 */
class RemoteDevice {
public:
    /**
     * Connects, and has the server open the device.
     *
     * @param name at the server, at most 127 characters.
     * @param width bits of a register: 8, 16 or 32.
     * @param deadlineFactory asked for the deadline of connecting and of each exchange.
     */
    RemoteDevice(ServerAddress server, std::string name, unsigned int width, DeadlineFactory deadlineFactory);

    std::uint32_t read(std::uint32_t address);
    /** @param items up to 128. */
    std::vector<std::uint32_t> read(std::uint32_t address, std::uint32_t items, Rynvel::ByteOrder order);
    void write(std::uint32_t address, std::uint32_t value);
    /** The server applies the mask. With a mask of 0 there is nothing to ask for. */
    void write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask);

    /** @return the device's result; 0 from a server that does not tell it. */
    int ioctl(std::uint32_t command, std::uint32_t argument);

    /** None when the server knows no interrupts of the device. */
    std::optional<std::uint32_t> interruptType();
    void enableInterrupt();
    void disableInterrupt();
    /** For servers that simulate their devices. */
    void raiseInterrupt(std::uint32_t word);

    /**
     * Has the server report interrupts, over a connection of their own.
     *
     * @return the connection's descriptor, for poll(): it is ready to be read when an interrupt begins to come in, or
     *         the connection has ended.
     */
    int arm();

    /** The word of the next interrupt, after arm(). */
    std::uint32_t receiveInterrupt(const Deadline& deadline);

private:
    Rynvel::Request request(Rynvel::RequestData::Type type) const { return {type, m_name}; }
    Rynvel::Response execute(const Rynvel::Request& request);
    std::uint32_t valueIn(const Rynvel::Response& response, std::uint32_t index) const;
    std::vector<std::uint32_t> readValues(Rynvel::Request& reading, std::uint32_t address, std::uint32_t items);

    const ServerAddress m_server;
    const std::string m_name;
    const unsigned int m_width;
    const DeadlineFactory m_deadlineFactory;
    RecordConnection m_requests;
    std::optional<RecordConnection> m_interrupts;
};

} // namespace Common

#endif
