// SPDX-License-Identifier: MIT
#include "ScriptedOs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sstream>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "UnusedAnswers.h"

namespace RynvelTest {

namespace {

template <typename... Arguments>
std::string textOf(const char* function, const Arguments&... arguments) {
    std::ostringstream text;
    const char* separator = "(";
    text << function;
    ((text << separator << arguments, separator = ", "), ...);
    text << ')';
    return text.str();
}

std::string hex(unsigned long value) {
    std::ostringstream text;
    text << "0x" << std::hex << value;
    return text.str();
}

std::string textOf(const sockaddr* address) {
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof(internet));
    char digits[INET_ADDRSTRLEN] = {};
    inet_ntop(internet.sin_family, &internet.sin_addr, digits, sizeof(digits));
    return std::string(digits) + ':' + std::to_string(ntohs(internet.sin_port));
}

long resultOf(const Answer& answer) {
    if (answer.result == -1) {
        errno = answer.error;
    }
    return answer.result;
}

long resultOf(const std::optional<Answer>& answer, long usual) { return answer ? resultOf(*answer) : usual; }

int intResultOf(const std::optional<Answer>& answer, int usual) { return static_cast<int>(resultOf(answer, usual)); }

// The names have the order of the enumeration Call.
constexpr const char* names[] = {"open",   "close",    "lseek", "read",   "write",   "ioctl",      "mmap",
                                 "munmap", "readlink", "send",  "socket", "connect", "setsockopt", "sleep"};
static_assert(std::size(names) == static_cast<std::size_t>(Call::Sleep) + 1, "a call without a name");

UnusedAnswers& unused = UnusedAnswers::of({std::begin(names), std::end(names)});

} // namespace

std::string hexBytes(const void* bytes, std::size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<const std::uint8_t*>(bytes)[i];
        text += {digits[byte >> 4U], digits[byte & 0xFU]};
    }
    return text;
}

const char* nameOf(Call call) { return names[static_cast<std::size_t>(call)]; }

ScriptedOs::ScriptedOs() : m_previous(current()) { makeCurrent(this); }

ScriptedOs::~ScriptedOs() { makeCurrent(m_previous); }

void ScriptedOs::script(Call call, const std::vector<std::optional<Answer>>& answers) {
    auto& queue = m_answers[call];
    queue.insert(queue.end(), answers.begin(), answers.end());
    unused.add(static_cast<std::size_t>(call), answers.size());
}

void ScriptedOs::record(const std::string& call) {
    m_log.push_back(call);
    if (m_printing) {
        std::fprintf(stderr, "%s\n", call.c_str());
    }
}

std::optional<Answer> ScriptedOs::nextAnswer(Call call) {
    auto& queue = m_answers[call];
    if (queue.empty()) {
        return asUsual;
    }
    const auto answer = queue.front();
    queue.pop_front();
    unused.remove(static_cast<std::size_t>(call));
    return answer;
}

template <typename... Arguments>
std::optional<Answer> ScriptedOs::answerTo(Call call, const Arguments&... arguments) {
    record(textOf(nameOf(call), arguments...));
    return nextAnswer(call);
}

int ScriptedOs::open(const char* path, int flags) {
    if (const auto answer = answerTo(Call::Open, path, flags)) {
        return static_cast<int>(resultOf(*answer));
    }
    return std::string(path).rfind("/sys/", 0) == 0 ? openText(path) : descriptor;
}

int ScriptedOs::openText(const std::string& path) {
    const auto file = files.find(path);
    if (file == files.end()) {
        return static_cast<int>(resultOf({-1, ENOENT}));
    }
    m_openText = file->second;
    return textDescriptor;
}

long ScriptedOs::readText(void* buffer, std::size_t count) {
    const std::size_t length = std::min(count, m_openText.size());
    std::memcpy(buffer, m_openText.data(), length);
    m_openText.erase(0, length);
    return static_cast<long>(length);
}

int ScriptedOs::close(int fd) { return intResultOf(answerTo(Call::Close, fd), 0); }

std::int64_t ScriptedOs::lseek(int fd, std::int64_t offset, int whence) {
    if (const auto answer = answerTo(Call::Lseek, fd, offset, whence)) {
        return resultOf(*answer);
    }
    m_position = static_cast<std::size_t>(offset);
    return offset;
}

long ScriptedOs::read(int fd, void* buffer, std::size_t count) {
    const auto answer = answerTo(Call::Read, fd, count);
    if (!answer && fd == textDescriptor) {
        return readText(buffer, count);
    }
    const long result = resultOf(answer, static_cast<long>(count));
    if (result > 0) {
        std::memcpy(buffer, &memory.at(m_position), std::min<std::size_t>(count, static_cast<std::size_t>(result)));
        m_position += static_cast<std::size_t>(result);
    }
    return result;
}

long ScriptedOs::write(int fd, const void* buffer, std::size_t count) {
    const long result = resultOf(answerTo(Call::Write, fd, hexBytes(buffer, count)), static_cast<long>(count));
    if (result > 0) {
        std::memcpy(&memory.at(m_position), buffer, static_cast<std::size_t>(result));
        m_position += static_cast<std::size_t>(result);
    }
    return result;
}

int ScriptedOs::ioctl(int fd, unsigned long request, unsigned long arg) {
    const auto answer = nextAnswer(Call::Ioctl);
    if (!answer && onRequest) {
        return onRequest(request, arg);
    }
    record(textOf(nameOf(Call::Ioctl), fd, hex(request), hex(arg)));
    return intResultOf(answer, 0);
}

void* ScriptedOs::mmap(void* addr, std::size_t length, int prot, int flags, int fd, std::int64_t offset) {
    if (const auto answer = answerTo(Call::Mmap, addr, length, prot, flags, fd, offset)) {
        return reinterpret_cast<void*>(resultOf(*answer));
    }
    keepMapped(memory.data());
    return memory.data();
}

int ScriptedOs::munmap(void* addr, std::size_t length) { return intResultOf(answerTo(Call::Munmap, addr, length), 0); }

long ScriptedOs::readlink(const char* path, char* buffer, std::size_t size) {
    if (const auto answer = answerTo(Call::Readlink, path, size)) {
        return resultOf(*answer);
    }
    const std::size_t length = std::min(size, linkText.size());
    std::memcpy(buffer, linkText.data(), length);
    return static_cast<long>(length);
}

long ScriptedOs::send(int fd, const void* buffer, std::size_t count, int flags) {
    return resultOf(answerTo(Call::Send, fd, hexBytes(buffer, count), flags), static_cast<long>(count));
}

int ScriptedOs::socket(int domain, int type, int protocol) {
    return intResultOf(answerTo(Call::Socket, domain, type, protocol), descriptor);
}

int ScriptedOs::connect(int fd, const sockaddr* address, socklen_t size) {
    return intResultOf(answerTo(Call::Connect, fd, textOf(address), size), 0);
}

int ScriptedOs::setsockopt(int fd, int level, int name) {
    return intResultOf(answerTo(Call::Setsockopt, fd, level, name), 0);
}

unsigned int ScriptedOs::sleep(unsigned int seconds) {
    return static_cast<unsigned int>(resultOf(answerTo(Call::Sleep, seconds), 0));
}

hostent* ScriptedOs::gethostbyname(const char* name) {
    record(textOf("gethostbyname", name));
    const auto host = hosts.find(name);
    if (host == hosts.end()) {
        return nullptr;
    }
    m_hostAddress = host->second;
    m_hostAddresses[0] = reinterpret_cast<char*>(m_hostAddress.data());
    m_hostAddresses[1] = reinterpret_cast<char*>(m_secondHostAddress.data());
    m_host.h_addrtype = AF_INET;
    m_host.h_length = static_cast<int>(m_hostAddress.size());
    m_host.h_addr_list = m_hostAddresses;
    return &m_host;
}

} // namespace RynvelTest
