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
 * A device that a register server serves, for `T` = `std::uint8_t`, `std::uint16_t` and `std::uint32_t`. Addresses are
 * sent to the server unchanged.
 *
 * A device has two connections to its server. The first carries one request and one response for each operation; the
 * second carries the interrupts. A broken connection is not restored: every later operation on it fails.
 *
 * No function has a time-out: the constructor and every operation block until the server answers. If a response arrives
 * in pieces, the first piece is taken as the response, and the rest as the next response, so that all later responses
 * are wrong. Sending to a server that has closed the connection raises SIGPIPE, which ends the process unless the
 * program ignores that signal.
 *
 * No function locks the mutex: do not run two operations on one device at the same time. Only waitForInterrupt() may
 * block in one thread while another thread runs any operation except open().
 *
 * Calls are traced at level 6, requests and responses at level 7, on the channel "Rynvel.Remote".
 */
template <typename T>
class RYNVEL_EXPORT Remote : public Device<T> {
public:
    /**
     * Connects twice, each time with an attempt every 3 seconds until the server accepts, and then calls open(), whose
     * result is ignored.
     *
     * @param name the logical name of the device at the server. The first 127 characters are sent.
     * @param address the address of the server: host, "::", port. Without "::", the port is 8888.
     * @param mutex is not used; the object takes ownership.
     */
    Remote(const std::string& name, const std::string& address, std::unique_ptr<IMutex> mutex);

    /** Leaves both connections open and sends nothing to the server. */
    ~Remote() override;

    /** Returns the text before the first "::", or all of it if there is no "::". */
    static std::string getIp(const std::string& address);

    /**
     * Returns the number after the first "::", or 8888 if there is no "::". White space before the number and any text
     * after it are ignored. A text that is not a number, or does not fit in an `int`, is traced at level 1 and gives
     * 8888. The connections use the lower 16 bits of the number.
     */
    static int getPort(const std::string& address);

    /**
     * Opens the device on both connections and arms the second one for its interrupts. If the server refuses to arm the
     * connection, open() closes it. The constructor calls open(). If you call it again, it may take an interrupt for a
     * response.
     *
     * @return the descriptor of the first connection; -1 if the server refuses the device on either connection, or does
     *         not answer.
     */
    int open();

    /** Sends a request and receives the response. @return the response; an Error if sending or receiving fails. */
    Response sendToServer(const Request& request, RemoteDeviceConnection& connection);

    /** Sends the lower 32 bits of `arg`. @return 0 for success, -1 for failure. */
    int ioctl(int command, unsigned long arg) override;

    /** Always sets `*type`; without a response, to 0. */
    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;

    /**
     * Blocks until the server reports an interrupt. Returns `false` at once if the server refused to arm the
     * connection, or the connection has ended. Sends nothing to the server.
     *
     * @param status is set to the interrupt word that the server sends; it stays unchanged if the wait fails.
     */
    bool waitForInterrupt(unsigned long* status) override;

    /** Returns the descriptor of the interrupt connection, for poll(); -1 if the server refused to arm it. */
    int getNativeHandle() const override;

    /** Always sets `*value`; without a response, to 0. */
    bool read(unsigned int address, T* value) override;

    /**
     * Stores as many values as the server sends, at most `items` and at most 128, and leaves the others unchanged. The
     * server applies the byte order and decides the result. For more than 128 items, it requests none.
     */
    bool read(unsigned int address, T* values, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** Sends one request; the server applies the mask. With a mask of 0, it sends a write without a mask. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** Writes the first 128 items at most. The server applies the byte order. */
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
