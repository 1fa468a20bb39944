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
 * The network of a compiled device table, while the object exists. A connection of any thread to the address of a
 * server is made to a port of this machine instead. A connection to any other address ends the program. A call of
 * sleep() returns when the test wakes the sleeper. The test program defines these functions of the C library itself.
 */
class PeerNetwork {
public:
    PeerNetwork();
    PeerNetwork(const PeerNetwork&) = delete;
    PeerNetwork& operator=(const PeerNetwork&) = delete;
    ~PeerNetwork();

    /** @param address digits, colon, port: "10.0.0.7:9000". */
    void place(const std::string& address, std::uint16_t port);

    /** Waits until a thread calls sleep(). Returns the number of seconds that it asks for. */
    unsigned int awaitSleeper();
    void wakeSleeper();

    static PeerNetwork* current();
    sockaddr_in placeOf(const sockaddr_in& address);
    unsigned int sleep(unsigned int seconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, std::uint16_t> m_places;
    /** The number of seconds that the sleeping thread asks for; 0 if no thread sleeps. */
    unsigned int m_sleep = 0;
};

} // namespace RynvelTest

#endif
