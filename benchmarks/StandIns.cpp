// SPDX-License-Identifier: MIT
#include "StandIns.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Require.h"

namespace RynvelBenchmark {

namespace {

// The descriptors in the paths of devices.def.
constexpr int registersDescriptor = 200;
constexpr int interruptDescriptor = 201;
constexpr int waitedDescriptor = 202;

constexpr std::size_t registersSize = 0x10000;

void moveDescriptor(int from, int to) {
    require(dup2(from, to), "dup2");
    close(from);
}

volatile std::uint32_t* makeRegisters() {
    moveDescriptor(require(memfd_create("registers", 0), "memfd_create"), registersDescriptor);
    require(ftruncate(registersDescriptor, registersSize), "ftruncate");
    void* const memory =
        mmap(nullptr, registersSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, registersDescriptor, 0);
    return static_cast<volatile std::uint32_t*>(require(memory, "mmap", MAP_FAILED));
}

int openAnew(int descriptor) {
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    return require(open(path.c_str(), O_RDWR), path.c_str());
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    require(pipe(ends.data()), "pipe");
    return ends;
}

// Makes a pipe with one descriptor for both ends. A read of the descriptor returns the bytes that were written to the
// descriptor.
void makeLoop(int descriptor) {
    const std::array<int, 2> ends = makePipe();
    moveDescriptor(openAnew(ends[0]), descriptor);
    close(ends[0]);
    close(ends[1]);
}

// Creates the device files. Returns the pipe that carries the requests to raise an interrupt.
std::array<int, 2> makeInterrupts() {
    makeLoop(interruptDescriptor);
    makeLoop(waitedDescriptor);
    return makePipe();
}

void raiseInterrupts(int requests) {
    std::uint16_t status = 0;
    while (read(requests, &status, sizeof(status)) > 0) {
        require(write(waitedDescriptor, &status, sizeof(status)), "write");
    }
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int makeListener() {
    const int listener = require(socket(AF_INET, SOCK_STREAM, 0), "socket");
    const sockaddr_in address = loopback(0);
    require(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "bind");
    require(listen(listener, 4), "listen");
    return listener;
}

std::uint16_t portOf(int listener) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    require(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

void answerRequests(int connection) {
    std::array<char, requestSize> request{};
    const std::array<char, responseSize> response{};
    while (recv(connection, request.data(), request.size(), MSG_WAITALL) == static_cast<ssize_t>(request.size())) {
        require(send(connection, response.data(), response.size(), MSG_NOSIGNAL), "send");
    }
}

void acceptConnections(int listener) {
    signal(SIGCHLD, SIG_IGN);
    for (;;) {
        const int connection = require(accept(listener, nullptr, nullptr), "accept");
        runInChild([connection] { answerRequests(connection); });
        close(connection);
    }
}

// Replaces this process with rynveld, and passes the listening socket to rynveld as a service manager does.
void becomeRynveld(const std::string& program, std::vector<std::string> options, int listener) {
    constexpr int passedDescriptor = 3;
    require(dup2(listener, passedDescriptor), "dup2");
    require(setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1), "setenv");
    require(setenv("LISTEN_FDS", "1", 1), "setenv");
    require(freopen("/dev/null", "w", stderr), "/dev/null", static_cast<FILE*>(nullptr));
    options.insert(options.begin(), {program, "--simulate"});
    std::vector<char*> words;
    std::transform(options.begin(), options.end(), std::back_inserter(words),
                   [](std::string& option) { return option.data(); });
    words.push_back(nullptr);
    execv(program.c_str(), words.data());
    require(-1, program.c_str());
}

// Returns the path of a new file without a name. The processes that this process starts can use the path, too.
std::string makeNamelessFile() {
    return "/proc/self/fd/" + std::to_string(require(open(".", O_TMPFILE | O_RDWR, S_IRUSR | S_IWUSR), "O_TMPFILE"));
}

std::string addressAt(std::uint16_t port) { return "127.0.0.1::" + std::to_string(port); }

int connectTo(std::uint16_t port) {
    const int connection = require(socket(AF_INET, SOCK_STREAM, 0), "socket");
    const sockaddr_in address = loopback(port);
    require(connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "connect");
    return connection;
}

} // namespace

const MemoryRegisters& MemoryRegisters::get() {
    static const MemoryRegisters registers;
    return registers;
}

MemoryRegisters::MemoryRegisters() : m_words(makeRegisters()) {}

MemoryRegisters::~MemoryRegisters() {
    munmap(const_cast<std::uint32_t*>(m_words), registersSize);
    close(registersDescriptor);
}

int MemoryRegisters::open() const { return openAnew(registersDescriptor); }

const InterruptSource& InterruptSource::get() {
    static const InterruptSource source;
    return source;
}

InterruptSource::InterruptSource()
    : m_requests(makeInterrupts()), m_child([this] { raiseInterrupts(m_requests[0]); }) {}

InterruptSource::~InterruptSource() {
    close(m_requests[0]);
    close(m_requests[1]);
    close(interruptDescriptor);
    close(waitedDescriptor);
}

int InterruptSource::openInterrupt() const { return openAnew(interruptDescriptor); }

int InterruptSource::openWaited() const { return openAnew(waitedDescriptor); }

void InterruptSource::raise() const {
    const std::uint16_t status = 1;
    require(write(m_requests[1], &status, sizeof(status)), "write");
}

const RegisterServer& RegisterServer::get() {
    static const RegisterServer server;
    return server;
}

RegisterServer::RegisterServer()
    : m_listener(makeListener()), m_port(portOf(m_listener)), m_child([this] { acceptConnections(m_listener); }) {}

RegisterServer::~RegisterServer() { close(m_listener); }

std::string RegisterServer::address() const { return addressAt(m_port); }

int RegisterServer::connect() const { return connectTo(m_port); }

const SimulatedBoard& SimulatedBoard::get(const char* program) {
    static const SimulatedBoard board(program, {});
    return board;
}

const SimulatedBoard& SimulatedBoard::getAudited(const char* program) {
    static const SimulatedBoard board(program, {"--audit", makeNamelessFile()});
    return board;
}

const SimulatedBoard& SimulatedBoard::getMeasured(const char* program) {
    static const SimulatedBoard board(program, {"--metrics", "0"});
    return board;
}

SimulatedBoard::SimulatedBoard(const char* program, const std::vector<std::string>& options)
    : m_listener(makeListener()),
      m_port(portOf(m_listener)),
      m_child([&] { becomeRynveld(program, options, m_listener); }) {}

SimulatedBoard::~SimulatedBoard() { close(m_listener); }

std::string SimulatedBoard::address() const { return addressAt(m_port); }

int SimulatedBoard::connect() const { return connectTo(m_port); }

} // namespace RynvelBenchmark
