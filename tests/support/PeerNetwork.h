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
 * A replacement for the network that connects a program to the servers of its remote devices. While the object exists,
 * connect() to an IPv4 address connects to the port of this machine that the test has set with place(). If the test has
 * not set a port for the address, connect() ends the program. sleep() blocks until the test calls wakeSleeper(). The
 * test program replaces connect() and sleep() of the C library in all threads.
 */
class PeerNetwork {
public:
    PeerNetwork();
    PeerNetwork(const PeerNetwork&) = delete;
    PeerNetwork& operator=(const PeerNetwork&) = delete;
    ~PeerNetwork();

    /** Redirects connections to an IPv4 address and port, such as "10.0.0.7:9000", to a port of this machine. */
    void place(const std::string& address, std::uint16_t port);

    /** Waits until a thread calls sleep(). Returns the argument of the call in seconds. */
    unsigned int awaitSleeper();
    void wakeSleeper();

    static PeerNetwork* current();
    sockaddr_in placeOf(const sockaddr_in& address);
    unsigned int sleep(unsigned int seconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, std::uint16_t> m_places;
    /** The argument of the current call of sleep() in seconds, or 0 if no thread sleeps. */
    unsigned int m_sleep = 0;
};

} // namespace RynvelTest

#endif
