#include "ServiceManager.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "OwnFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::activationSocket;
using Rynveld::notifyServiceManager;

constexpr int passed = 3;

/** Makes descriptor 3 a socket. */
void pass(int family, int type, bool listens) {
    const int socket = ::socket(family, type, 0);
    if (listens) {
        EXPECT_EQ(::listen(socket, 1), 0);
    }
    EXPECT_EQ(::dup2(socket, passed), passed);
}

void activate(const std::string& pid = std::to_string(::getpid()), const char* descriptors = "1") {
    ::setenv("LISTEN_PID", pid.c_str(), 1);
    ::setenv("LISTEN_FDS", descriptors, 1);
}

TEST(ActivationSocketDeathTest, IsTheFirstThatWasPassed) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        for (const char* count : {"1", "2"}) {
            activate(std::to_string(::getpid()), count);
            EXPECT_EQ(activationSocket(), passed);
        }
        EXPECT_EQ(::fcntl(passed, F_GETFD), FD_CLOEXEC);
    });
}

TEST(ActivationSocketDeathTest, IsNoneWhenAnotherProcessIsMeant) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        for (const auto& pid : {std::to_string(::getppid()), std::string(), std::string("x")}) {
            activate(pid);
            EXPECT_EQ(activationSocket(), std::nullopt);
        }
        ::unsetenv("LISTEN_PID");
        EXPECT_EQ(activationSocket(), std::nullopt);
    });
}

TEST(ActivationSocketDeathTest, IsNoneWhenNoneWasPassed) {
    inChildProcess([] {
        activate(std::to_string(::getpid()), "0");
        EXPECT_EQ(activationSocket(), std::nullopt);
        ::unsetenv("LISTEN_FDS");
        EXPECT_EQ(activationSocket(), std::nullopt);
    });
}

TEST(ActivationSocketDeathTest, MustListenForTcpConnections) {
    inChildProcess([] {
        activate();
        ::close(passed);
        EXPECT_THROW(activationSocket(), std::runtime_error);
        pass(AF_INET, SOCK_STREAM, false);
        EXPECT_THROW(activationSocket(), std::runtime_error);
        pass(AF_INET, SOCK_DGRAM, false);
        EXPECT_THROW(activationSocket(), std::runtime_error);
        pass(AF_INET6, SOCK_STREAM, true);
        EXPECT_EQ(activationSocket(), passed);
    });
}

/** The socket of a service manager, as NOTIFY_SOCKET names it. */
class NotifySocket {
public:
    /** @param name of the socket, whose first character is 0 in the abstract name space. */
    explicit NotifySocket(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof(address.sun_path));
        if (name[0] == '@') {
            address.sun_path[0] = '\0';
        }
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), size), 0);
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket() {
        ::unsetenv("NOTIFY_SOCKET");
        ::close(m_socket);
    }

    std::string received() const {
        std::array<char, 100> text{};
        const ssize_t size = ::recv(m_socket, text.data(), text.size(), MSG_DONTWAIT);
        return size < 0 ? "nothing" : std::string(text.data(), static_cast<std::size_t>(size));
    }

private:
    const int m_socket = ::socket(AF_UNIX, SOCK_DGRAM, 0);
};

TEST(ServiceManager, IsNotifiedAtAPath) {
    const OwnFolder folder;
    // A socket's path has at most 108 bytes, fewer than that of the working folder may have.
    const NotifySocket manager("/proc/self/cwd/notify");
    notifyServiceManager("READY=1");
    EXPECT_EQ(manager.received(), "READY=1");
    EXPECT_EQ(manager.received(), "nothing");
}

TEST(ServiceManager, IsNotifiedInTheAbstractNameSpace) {
    const NotifySocket manager("@rynveld test " + std::to_string(::getpid()));
    notifyServiceManager("STOPPING=1");
    EXPECT_EQ(manager.received(), "STOPPING=1");
}

TEST(ServiceManager, IsNotNotifiedWhereThereIsNone) {
    const std::string tooLong = "/" + std::string(sizeof(sockaddr_un::sun_path), 'x');
    for (const std::string& name : {std::string(), std::string("/"), std::string("relative"), tooLong}) {
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
        EXPECT_NO_THROW(notifyServiceManager("READY=1"));
    }
    ::setenv("NOTIFY_SOCKET", "/nowhere/notify", 1);
    EXPECT_NO_THROW(notifyServiceManager("READY=1"));
    ::unsetenv("NOTIFY_SOCKET");
    EXPECT_NO_THROW(notifyServiceManager("READY=1"));
}

} // namespace
} // namespace RynvelTest
