// SPDX-License-Identifier: MIT
#include "PeerNetwork.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <dlfcn.h>

namespace RynvelTest {

namespace {

std::atomic<PeerNetwork*> currentNetwork{nullptr};

std::string textOf(const sockaddr_in& address) {
    char digits[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, digits, sizeof(digits));
    return std::string(digits) + ':' + std::to_string(ntohs(address.sin_port));
}

} // namespace

PeerNetwork::PeerNetwork() { currentNetwork = this; }

PeerNetwork::~PeerNetwork() { currentNetwork = nullptr; }

PeerNetwork* PeerNetwork::current() { return currentNetwork; }

void PeerNetwork::place(const std::string& address, std::uint16_t port) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_places[address] = port;
}

sockaddr_in PeerNetwork::placeOf(const sockaddr_in& address) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto place = m_places.find(textOf(address));
    if (place == m_places.end()) {
        std::fprintf(stderr, "a connection to %s, where the test has no server\n", textOf(address).c_str());
        std::abort();
    }
    sockaddr_in real{};
    real.sin_family = AF_INET;
    real.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    real.sin_port = htons(place->second);
    return real;
}

unsigned int PeerNetwork::awaitSleeper() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_sleep != 0; });
    return m_sleep;
}

void PeerNetwork::wakeSleeper() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sleep = 0;
    m_changed.notify_all();
}

unsigned int PeerNetwork::sleep(unsigned int seconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_sleep = seconds;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_sleep == 0; });
    return 0;
}

} // namespace RynvelTest

namespace {

using RynvelTest::PeerNetwork;

template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int connect(int fd, const sockaddr* address, socklen_t size) {
    auto* const reallyConnect = real<int(int, const sockaddr*, socklen_t)>("connect");
    PeerNetwork* const network = PeerNetwork::current();
    if (network == nullptr || address->sa_family != AF_INET) {
        return reallyConnect(fd, address, size);
    }
    sockaddr_in wanted{};
    std::memcpy(&wanted, address, sizeof(wanted));
    const sockaddr_in place = network->placeOf(wanted);
    return reallyConnect(fd, reinterpret_cast<const sockaddr*>(&place), sizeof(place));
}

unsigned int sleep(unsigned int seconds) {
    PeerNetwork* const network = PeerNetwork::current();
    return network != nullptr ? network->sleep(seconds) : real<unsigned int(unsigned int)>("sleep")(seconds);
}
}
