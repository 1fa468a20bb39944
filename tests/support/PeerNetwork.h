/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PEERNETWORK_H
#define RYNVEL_TESTS_PEERNETWORK_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include <netinet/in.h>

namespace RynvelTest {

/**
 * The network that a compiled device table is written for, while it lives. Connections of the program, of any thread,
 * to a server's address really go to a port of this machine that the system has chosen. A connection to an address
 * without a server here ends the program. Sleeping takes until the test wakes the sleeper. The calls reach it because
 * the test program defines the C library's functions itself.
 */
class PeerNetwork {
public:
    PeerNetwork();
    PeerNetwork(const PeerNetwork&) = delete;
    PeerNetwork& operator=(const PeerNetwork&) = delete;
    ~PeerNetwork();

    /** @param address digits, colon, port: "10.0.0.7:9000". */
    void place(const std::string& address, std::uint16_t port);

    /** Waits until a thread sleeps, and returns for how many seconds it wants to. */
    unsigned int awaitSleeper();
    void wakeSleeper();

    static PeerNetwork* current();
    sockaddr_in placeOf(const sockaddr_in& address);
    unsigned int sleep(unsigned int seconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, std::uint16_t> m_places;
    /** How long the thread that sleeps wants to; 0 when none does. */
    unsigned int m_sleep = 0;
};

} // namespace RynvelTest

#endif
