/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Registers and interrupts of a device of another machine.
 */
#ifndef RYNVEL_REMOTE_H
#define RYNVEL_REMOTE_H

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/Messages.h"
#include "rynvel/RemoteDeviceConnection.h"

#include <cstdint>
#include <memory>
#include <string>

class ZilTrace;

namespace Rynvel {

/**
 * A device that a register server serves, for `T` = `std::uint8_t`, `std::uint16_t` and `std::uint32_t`. The class
 * sends addresses to the server unchanged.
 *
 * A device has two connections to its server. Each operation except open() and waitForInterrupt() sends one request and
 * receives one response, on the first connection. On the second connection, the server reports interrupts. The class
 * does not restore a broken connection: all later operations on the connection fail.
 *
 * No function has a time-out: the constructor and every operation block until the server answers. If a response arrives
 * in pieces, the class takes the first piece for the whole response and the next piece for the next response. All later
 * responses are then wrong. Sending to a server that has closed the connection may raise SIGPIPE, which ends the
 * process unless the program ignores the signal.
 *
 * No function locks the mutex: do not run two operations on one device at the same time. As an exception, one thread
 * may call waitForInterrupt() while another thread runs any operation except open().
 *
 * The class traces construction and operations at level 6, and requests and responses at level 7, on the channel
 * "Rynvel.Remote".
 */
template <typename T>
class RYNVEL_EXPORT Remote : public Device<T> {
public:
    /**
     * Opens two connections to the server, and then calls open() and ignores the result. For each connection, the
     * constructor tries to connect every 3 seconds until the server accepts.
     *
     * @param name the device name at the server. Only the first 127 characters are sent.
     * @param address the address of the server as HOST::PORT. Without "::", the port is 8888.
     * @param mutex a mutex that the object does not use. The object takes ownership.
     */
    Remote(const std::string& name, const std::string& address, std::unique_ptr<IMutex> mutex);

    /** Does not close the connections, and sends nothing to the server. */
    ~Remote() override;

    /** Returns the part of `address` before the first "::"; all of `address` if it does not contain "::". */
    static std::string getIp(const std::string& address);

    /**
     * Returns the number after the first "::"; 8888 if `address` does not contain "::". Ignores white space before the
     * number, and any text after the number. If the text does not begin with a number, or if the number does not fit in
     * an `int`, the function traces the error at level 1 and returns 8888. The connections use only the lower 16 bits.
     */
    static int getPort(const std::string& address);

    /**
     * Opens the device on both connections, and arms the second connection for the interrupts of the device. If the
     * server refuses to arm the second connection, open() closes that connection. The constructor calls open(). A
     * second call may mistake the report of an interrupt for a response.
     *
     * @return the descriptor of the first connection; -1 unless the server opens the device on both connections.
     */
    int open();

    /** Sends a request. @return the received response; a response with the result Error if a transfer fails. */
    Response sendToServer(const Request& request, RemoteDeviceConnection& connection);

    /** Sends the lower 32 bits of `arg`. @return 0 for success, -1 for failure. */
    int ioctl(int command, unsigned long arg) override;

    /** Stores the first value of the response in `*type`, even after a failure. Stores 0 if there is no value. */
    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;

    /**
     * Blocks until the server reports an interrupt, and then stores the interrupt word in `*status`. Returns `false`
     * immediately if the server refused to arm the second connection, or if the connection has ended. Leaves `*status`
     * unchanged after a failure. Sends nothing to the server.
     */
    bool waitForInterrupt(unsigned long* status) override;

    /** Returns the descriptor of the second connection, for poll(); -1 if the server refused to arm the connection. */
    int getNativeHandle() const override;

    /** Stores the first value of the response in `*value`, even after a failure. Stores 0 if there is no value. */
    bool read(unsigned int address, T* value) override;

    /**
     * Stores the values that the server sends, at most `items` and at most 128. Leaves the rest of `values` unchanged.
     * The server applies the byte order and determines the result. If `items` is above 128, the function requests 0
     * items.
     */
    bool read(unsigned int address, T* values, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** Sends one request, and the server applies the mask. A `bitmask` of 0 requests a write without a mask. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** Writes at most the first 128 items. The server applies the byte order. */
    bool write(unsigned int address, const T* values, unsigned int items, ByteOrder byteOrder) override;

private:
    RYNVEL_LOCAL bool succeeds(const Request& request);

    RemoteDeviceConnection m_requestConnection;
    RemoteDeviceConnection m_interruptConnection;
    std::unique_ptr<IMutex> m_mutex;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

extern template class Remote<std::uint8_t>;
extern template class Remote<std::uint16_t>;
extern template class Remote<std::uint32_t>;

} // namespace Rynvel

#endif
