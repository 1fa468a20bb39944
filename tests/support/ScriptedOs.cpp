#include "ScriptedOs.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace RynvelTest {

namespace {

template <typename... Arguments>
std::string call(const char* function, const Arguments&... arguments) {
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

std::string text(const sockaddr* address) {
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

ScriptedOs::ScriptedOs() : m_previous(current()) { makeCurrent(this); }

ScriptedOs::~ScriptedOs() { makeCurrent(m_previous); }

void ScriptedOs::script(const std::string& function, const std::vector<std::optional<Answer>>& answers) {
    auto& queue = m_answers[function];
    queue.insert(queue.end(), answers.begin(), answers.end());
}

std::size_t ScriptedOs::unusedAnswers() const {
    std::size_t unused = 0;
    for (const auto& [function, answers] : m_answers) {
        unused += answers.size();
    }
    return unused;
}

void ScriptedOs::record(const std::string& call) {
    m_log.push_back(call);
    if (m_printing) {
        std::fprintf(stderr, "%s\n", call.c_str());
    }
}

std::optional<Answer> ScriptedOs::nextAnswer(const std::string& function) {
    auto& queue = m_answers[function];
    if (queue.empty()) {
        return asUsual;
    }
    const auto answer = queue.front();
    queue.pop_front();
    return answer;
}

int ScriptedOs::open(const char* path, int flags) {
    record(call("open", path, flags));
    if (const auto answer = nextAnswer("open")) {
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

int ScriptedOs::close(int fd) {
    record(call("close", fd));
    const auto answer = nextAnswer("close");
    return answer ? static_cast<int>(resultOf(*answer)) : 0;
}

long ScriptedOs::lseek(int fd, long offset, int whence) {
    record(call("lseek", fd, offset, whence));
    if (const auto answer = nextAnswer("lseek")) {
        return resultOf(*answer);
    }
    m_position = static_cast<std::size_t>(offset);
    return offset;
}

long ScriptedOs::read(int fd, void* buffer, std::size_t count) {
    record(call("read", fd, count));
    const auto answer = nextAnswer("read");
    if (!answer && fd == textDescriptor) {
        return readText(buffer, count);
    }
    const long result = answer ? resultOf(*answer) : static_cast<long>(count);
    if (result > 0) {
        std::memcpy(buffer, &memory.at(m_position), std::min<std::size_t>(count, static_cast<std::size_t>(result)));
        m_position += static_cast<std::size_t>(result);
    }
    return result;
}

long ScriptedOs::write(int fd, const void* buffer, std::size_t count) {
    record(call("write", fd, hexBytes(buffer, count)));
    const auto answer = nextAnswer("write");
    const long result = answer ? resultOf(*answer) : static_cast<long>(count);
    if (result > 0) {
        std::memcpy(&memory.at(m_position), buffer, static_cast<std::size_t>(result));
        m_position += static_cast<std::size_t>(result);
    }
    return result;
}

int ScriptedOs::ioctl(int fd, unsigned long request, unsigned long arg) {
    const auto answer = nextAnswer("ioctl");
    if (!answer && onRequest) {
        return onRequest(request, arg);
    }
    record(call("ioctl", fd, hex(request), hex(arg)));
    return answer ? static_cast<int>(resultOf(*answer)) : 0;
}

void* ScriptedOs::mmap(void* addr, std::size_t length, int prot, int flags, int fd, long offset) {
    record(call("mmap", addr, length, prot, flags, fd, offset));
    if (const auto answer = nextAnswer("mmap")) {
        return reinterpret_cast<void*>(resultOf(*answer));
    }
    return memory.data();
}

int ScriptedOs::munmap(void* addr, std::size_t length) {
    record(call("munmap", addr, length));
    const auto answer = nextAnswer("munmap");
    return answer ? static_cast<int>(resultOf(*answer)) : 0;
}

long ScriptedOs::readlink(const char* path, char* buffer, std::size_t size) {
    record(call("readlink", path, size));
    if (const auto answer = nextAnswer("readlink")) {
        return resultOf(*answer);
    }
    const std::size_t length = std::min(size, linkText.size());
    std::memcpy(buffer, linkText.data(), length);
    return static_cast<long>(length);
}

long ScriptedOs::send(int fd, const void* buffer, std::size_t count, int flags) {
    record(call("send", fd, hexBytes(buffer, count), flags));
    const auto answer = nextAnswer("send");
    return answer ? resultOf(*answer) : static_cast<long>(count);
}

int ScriptedOs::socket(int domain, int type, int protocol) {
    record(call("socket", domain, type, protocol));
    const auto answer = nextAnswer("socket");
    return answer ? static_cast<int>(resultOf(*answer)) : descriptor;
}

int ScriptedOs::connect(int fd, const sockaddr* address, socklen_t size) {
    record(call("connect", fd, text(address), size));
    const auto answer = nextAnswer("connect");
    return answer ? static_cast<int>(resultOf(*answer)) : 0;
}

int ScriptedOs::setsockopt(int fd, int level, int name) {
    record(call("setsockopt", fd, level, name));
    const auto answer = nextAnswer("setsockopt");
    return answer ? static_cast<int>(resultOf(*answer)) : 0;
}

unsigned int ScriptedOs::sleep(unsigned int seconds) {
    record(call("sleep", seconds));
    const auto answer = nextAnswer("sleep");
    return answer ? static_cast<unsigned int>(resultOf(*answer)) : 0;
}

hostent* ScriptedOs::gethostbyname(const char* name) {
    record(call("gethostbyname", name));
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
