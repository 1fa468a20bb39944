/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SOAKAUDIT_H
#define RYNVEL_TESTS_SOAKAUDIT_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "RynveldProcess.h"

namespace RynvelTest {

/**
 * Checks the audit of a server that many clients use. Rotates and removes the file while the server writes it, because
 * the whole audit would fill the disk.
 *
 * Checks two kinds of writes to one device. The first value of a write of two values is 0, or 1 higher than the first
 * value of the previous such write on the connection. A write of one value to the shared register has the old value
 * that the previous such write has left.
 */
class SoakAudit {
public:
    /** The address of the shared register, which any client may write. */
    static constexpr std::uint32_t sharedAddress = 900;

    /** @param path the file of the audit. @param device the device whose writes the object checks. */
    SoakAudit(std::string path, const std::string& device);

    /**
     * Counts a write of two values that succeeded for the client with this port.
     *
     * Threads: any number may call this function at once.
     */
    void saw(std::uint16_t port);

    /** Renames the file, makes the server open a new one, and checks the lines of the old one. */
    void rotate(const RynveldProcess& server);

    /** Checks the last file, and expects a line for every counted write. Call it after the server has ended. */
    void expectAllWrites();

private:
    struct Connection {
        std::uint32_t next = 0;
        std::uint64_t writes = 0;
    };

    void check(const std::string& path);
    void checkLine(const std::string& line);
    void checkNumber(std::string_view line);
    void checkOrderOfConnection(std::string_view line);
    void checkOrderOfRegister(std::string_view line);

    const std::string m_path;
    /** The text that the audit line of each write to the device contains. */
    const std::string m_write;
    std::mutex m_mutex;
    std::map<std::uint16_t, std::uint64_t> m_seen;
    std::map<std::uint16_t, Connection> m_connections;
    std::uint64_t m_lines = 0;
    std::string m_lastValue;
};

} // namespace RynvelTest

#endif
