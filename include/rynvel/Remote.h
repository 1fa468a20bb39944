/**
 * @file
 * Registers and interrupts of a device on another machine.
 */
#ifndef RYNVEL_REMOTE_H
#define RYNVEL_REMOTE_H

#include <cstdint>
#include <memory>
#include <string>

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/Messages.h"
#include "rynvel/RemoteDeviceConnection.h"

class ZilTrace;

namespace Rynvel {

/**
 * A device that a register server on another machine serves, for `T` = `std::uint8_t`, `std::uint16_t` and
 * `std::uint32_t`. An address is passed through to the server.
 *
 * There are two connections to the server. Every operation is one request and one response on the first; interrupts
 * come over the second. A broken connection is not made again: every later operation on it fails.
 *
 * Nothing has a time-out: the constructor and every operation block for as long as the server stays silent. A response
 * that comes in pieces is taken for its first piece; the rest is taken for the next response, and so on from there.
 * Sending to a server that is gone raises SIGPIPE in the process, which ends it unless the program ignores that signal.
 *
 * No operation takes the mutex: the program must not run two operations on one device at once. waitForInterrupt() alone
 * may block in one thread while another runs any operation but open().
 *
 * Entries are traced at level 6, requests and responses at level 7, on the channel "Rynvel.Remote".
 */
template <typename T>
class RYNVEL_EXPORT Remote : public Device<T> {
public:
    /**
     * Connects twice, each time with an attempt every 3 seconds and no end, then calls open(), whose result is ignored.
     *
     * @param name the logical name of the device at the server, which is sent its first 127 characters.
     * @param address the server: host, "::", port; without "::" the port is 8888.
     * @param mutex owned from now on; not used.
     */
    Remote(const std::string& name, const std::string& address, std::unique_ptr<IMutex> mutex);

    /** Leaves both connections open and tells the server nothing. */
    ~Remote() override;

    /** The text before the first "::"; all of it when there is none. */
    static std::string getIp(const std::string& address);

    /**
     * The number after the first "::"; 8888 when there is no "::". Blanks before the number and whatever stands behind
     * it are skipped. A text that is no number or does not fit in an `int` is traced at level 1 and gives 8888. The
     * connections take the lower 16 bits.
     */
    static int getPort(const std::string& address);

    /**
     * Announces the device on both connections and asks for its interrupts on the second, which is closed when the
     * server refuses them. The constructor has done it; called again, it takes an interrupt that comes meanwhile for an
     * answer.
     *
     * @return the descriptor of the first connection; -1 when the server refuses the device on either connection, or
     *         does not answer.
     */
    int open();

    /** One exchange on a connection. @return the response; an Error when it cannot be had. */
    Response sendToServer(const Request& request, RemoteDeviceConnection& connection);

    /** @return 0 for success, -1 for failure. The lower 32 bits of `arg` are sent. */
    int ioctl(int command, unsigned long arg) override;

    /** `*type` is written in every case; 0 when there is no response. */
    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;

    /**
     * Blocks until the server reports an interrupt. `false` at once when it has refused to, or the connection has
     * ended.
     *
     * @param status receives the word that the server sends; left alone when the wait fails.
     */
    bool waitForInterrupt(unsigned long* status) override;

    /** The descriptor of the interrupts' connection, for poll(); -1 when the server has refused them. */
    int getNativeHandle() const override;

    /** `*value` is written in every case; 0 when there is no response. */
    bool read(unsigned int address, T* value) override;

    /**
     * Stores as many values as the server sends, at most `items` and 128, and leaves the others alone. The result is
     * the server's. Of more than 128 items none is asked for. The server applies the byte order.
     */
    bool read(unsigned int address, T* values, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** One request: the server applies the mask. A mask of 0 makes the request of a write without a mask. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** Of more than 128 items the first 128 are written. The server applies the byte order. */
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
