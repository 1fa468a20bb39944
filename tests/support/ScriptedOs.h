/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SCRIPTEDOS_H
#define RYNVEL_TESTS_SCRIPTEDOS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <netdb.h>
#include <sys/socket.h>

#include "EventLog.h"

namespace RynvelTest {

/** The functions that a test can script. */
enum class Call {
    Open,
    Close,
    Lseek,
    Read,
    Write,
    Ioctl,
    Mmap,
    Munmap,
    Readlink,
    Send,
    Socket,
    Connect,
    Setsockopt,
    Sleep,
};

/** Returns the name of the function in C. */
const char* nameOf(Call call);

/** The result of a scripted call, and the value of errno if the result is -1. */
struct Answer {
    long result;
    int error;
};

/** The item of a script for a call that has its default behavior. */
inline const std::optional<Answer> asUsual = std::nullopt;

inline std::optional<Answer> failing(int error) { return Answer{-1, error}; }
inline std::optional<Answer> answering(long result) { return Answer{result, 0}; }

/** Returns bytes as hex digits. */
std::string hexBytes(const void* bytes, std::size_t count);

/** Returns the bytes of a number in the byte order of this processor, as hex digits. */
template <typename T>
std::string inMemory(T value) {
    return hexBytes(&value, sizeof(value));
}

/**
 * A replacement for the operating system of the thread that constructs the object. If the thread has several objects,
 * the latest one handles the calls. The event log records every call with its arguments. The script supplies the
 * results.
 *
 * Without a script, the replacement is a machine with one device file: open() returns the descriptor 7 for any path
 * outside /sys, and lseek(), read(), write() and mmap() use `memory`. sleep() takes no time. The test program replaces
 * these functions of the C library.
 *
 * Recorded forms: "open(PATH, FLAGS)", "close(FD)", "lseek(FD, OFFSET, WHENCE)", "read(FD, COUNT)",
 * "write(FD, BYTES)" with the bytes as hex digits, "ioctl(FD, REQUEST, ARG)" with hex numbers,
 * "mmap(ADDR, LENGTH, PROT, FLAGS, FD, OFFSET)", "munmap(ADDR, LENGTH)", "readlink(PATH, SIZE)",
 * "send(FD, BYTES, FLAGS)", "socket(DOMAIN, TYPE, PROTOCOL)", "connect(FD, ADDRESS:PORT, SIZE)",
 * "setsockopt(FD, LEVEL, NAME)", "sleep(SECONDS)", "gethostbyname(NAME)".
 */
class ScriptedOs {
public:
    static constexpr int descriptor = 7;
    static constexpr int textDescriptor = 8;

    ScriptedOs();
    ScriptedOs(const ScriptedOs&) = delete;
    ScriptedOs& operator=(const ScriptedOs&) = delete;
    ~ScriptedOs();

    /** Returns the scripted operating system of the calling thread, or null if the thread uses the real one. */
    static ScriptedOs* current();

    /**
     * Appends the results of the next calls of a function. The test fails at its end if a result is unused. In a death
     * test, construct and script the object inside the statement. An object outside would handle the calls of
     * GoogleTest.
     */
    void script(Call call, const std::vector<std::optional<Answer>>& answers);

    EventLog& log() { return m_log; }
    /** Returns the event log, and clears it. */
    EventLog takeLog() { return std::exchange(m_log, {}); }

    /** Makes the object also write every call to standard error, for tests that end the process. */
    void printCalls() { m_printing = true; }

    int open(const char* path, int flags);
    int close(int fd);
    std::int64_t lseek(int fd, std::int64_t offset, int whence);
    long read(int fd, void* buffer, std::size_t count);
    long write(int fd, const void* buffer, std::size_t count);
    int ioctl(int fd, unsigned long request, unsigned long arg);
    void* mmap(void* addr, std::size_t length, int prot, int flags, int fd, std::int64_t offset);
    int munmap(void* addr, std::size_t length);
    long readlink(const char* path, char* buffer, std::size_t size);
    long send(int fd, const void* buffer, std::size_t count, int flags);
    int socket(int domain, int type, int protocol);
    int connect(int fd, const sockaddr* address, socklen_t size);
    int setsockopt(int fd, int level, int name);
    unsigned int sleep(unsigned int seconds);
    hostent* gethostbyname(const char* name);

    /** The content of the device file. */
    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(4096);

    /** Stores a number in `memory` in the byte order of this processor. */
    template <typename T>
    void store(std::size_t offset, T value) {
        std::memcpy(&memory.at(offset), &value, sizeof(value));
    }

    /** Returns the number at an offset of `memory`, in the byte order of this processor. */
    template <typename T>
    T stored(std::size_t offset) const {
        T value{};
        std::memcpy(&value, &memory.at(offset), sizeof(value));
        return value;
    }

    /** If set, handles the ioctl() calls without a scripted result. The event log does not record these calls. */
    std::function<int(unsigned long request, unsigned long arg)> onRequest;
    /** The target of every symbolic link. */
    std::string linkText = "uio0";
    /** The texts of the files below /sys, by path. Opening any other path below /sys fails with ENOENT. */
    std::map<std::string, std::string> files;
    /** The hosts that gethostbyname() finds, with their first IPv4 address. Their second address is 203.0.113.1. */
    std::map<std::string, std::vector<std::uint8_t>> hosts;

private:
    static void makeCurrent(ScriptedOs* os);
    /** Keeps munmap() from unmapping this memory in the kernel, because the memory is part of the heap. */
    static void keepMapped(const void* memory);
    int openText(const std::string& path);
    long readText(void* buffer, std::size_t count);
    template <typename... Arguments>
    std::optional<Answer> answerTo(Call call, const Arguments&... arguments);
    void record(const std::string& call);
    std::optional<Answer> nextAnswer(Call call);

    ScriptedOs* const m_previous;
    EventLog m_log;
    std::map<Call, std::deque<std::optional<Answer>>> m_answers;
    bool m_printing = false;
    std::size_t m_position = 0;
    std::string m_openText;
    std::vector<std::uint8_t> m_hostAddress;
    std::vector<std::uint8_t> m_secondHostAddress{203, 0, 113, 1};
    char* m_hostAddresses[3] = {};
    hostent m_host{};
};

} // namespace RynvelTest

#endif
