#include "ServiceManager.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "OwnFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::activationSockets;
using Rynveld::notifyServiceManager;

using Sockets = std::vector<int>;

/** The first descriptor that is passed. */
constexpr int passed = 3;

/** Makes a descriptor a socket. */
void pass(int family, int type, bool listens, int descriptor = passed) {
    const int socket = ::socket(family, type, 0);
    if (family == AF_UNIX) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        // A name of the system's choice.
        EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address.sun_family)), 0);
    }
    if (listens) {
        EXPECT_EQ(::listen(socket, 1), 0);
    }
    EXPECT_EQ(::dup2(socket, descriptor), descriptor);
}

/** Why the passed sockets are refused. */
std::string refusal() {
    try {
        activationSockets();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

void activate(const std::string& pid = std::to_string(::getpid()), const char* descriptors = "1") {
    ::setenv("LISTEN_PID", pid.c_str(), 1);
    ::setenv("LISTEN_FDS", descriptors, 1);
}

TEST(ActivationSocketsDeathTest, AreAllThatWerePassed) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true, passed);
        pass(AF_UNIX, SOCK_STREAM, true, passed + 1);
        pass(AF_INET6, SOCK_STREAM, true, passed + 2);
        Sockets expected;
        for (const char* count : {"0", "1", "2", "3"}) {
            activate(std::to_string(::getpid()), count);
            EXPECT_EQ(activationSockets(), expected);
            expected.push_back(passed + static_cast<int>(expected.size()));
        }
        EXPECT_EQ(::fcntl(passed, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(passed + 1, F_GETFD), FD_CLOEXEC);
    });
}

TEST(ActivationSocketsDeathTest, AreNoneWhenAnotherProcessIsMeant) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        for (const auto& pid : {std::to_string(::getppid()), std::string(), std::string("x")}) {
            activate(pid);
            EXPECT_EQ(activationSockets(), Sockets{});
        }
        ::unsetenv("LISTEN_PID");
        EXPECT_EQ(activationSockets(), Sockets{});
    });
}

TEST(ActivationSocketsDeathTest, AreNoneWhenNoneWasPassed) {
    inChildProcess([] {
        activate(std::to_string(::getpid()), "0");
        EXPECT_EQ(activationSockets(), Sockets{});
        ::unsetenv("LISTEN_FDS");
        EXPECT_EQ(activationSockets(), Sockets{});
    });
}

TEST(ActivationSocketsDeathTest, AreANumber) {
    inChildProcess([] {
        for (const std::string count : {"x", "-1", "1 ", "12345"}) {
            activate(std::to_string(::getpid()), count.c_str());
            EXPECT_EQ(refusal(),
                      "LISTEN_FDS: '" + count + "' is not a number of sockets (use at most 4 decimal digits)");
        }
    });
}

TEST(ActivationSocketsDeathTest, MustAllListenForStreams) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        activate(std::to_string(::getpid()), "2");
        const std::string problem = "descriptor 4: not a listening TCP or local stream socket";
        ::close(passed + 1);
        EXPECT_EQ(refusal(), problem);
        for (const auto& [family, type, listens] :
             {std::tuple{AF_INET, SOCK_STREAM, false}, std::tuple{AF_INET, SOCK_DGRAM, false},
              std::tuple{AF_UNIX, SOCK_STREAM, false}, std::tuple{AF_UNIX, SOCK_SEQPACKET, true}}) {
            pass(family, type, listens, passed + 1);
            EXPECT_EQ(refusal(), problem);
        }
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

TEST(ServiceManager, IsNotWaitedForWhenItTakesNothing) {
    const std::string name = "rynveld manager " + std::to_string(::getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, name.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int manager = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(manager, reinterpret_cast<const sockaddr*>(&address), size), 0);
    const int sender = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(::connect(sender, reinterpret_cast<const sockaddr*>(&address), size), 0);
    while (::send(sender, "", 1, 0) == 1) {
    }
    ::setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    notifyServiceManager("STOPPING=1");
    ::unsetenv("NOTIFY_SOCKET");
    ::close(sender);
    ::close(manager);
}

} // namespace
} // namespace RynvelTest
