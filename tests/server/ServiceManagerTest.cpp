// SPDX-License-Identifier: MIT
#include "ServiceManager.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "LocalSocket.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::activationSockets;
using Rynveld::notifyServiceManager;

using Sockets = std::vector<int>;

/** The descriptor of the first passed socket. */
constexpr int passed = 3;

/** Creates a socket whose descriptor is `descriptor`. */
void pass(int family, int type, bool listens, int descriptor = passed) {
    const int socket = ::socket(family, type, 0);
    if (family == AF_UNIX) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        // The system chooses the name.
        EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address.sun_family)), 0);
    }
    if (listens) {
        EXPECT_EQ(::listen(socket, 1), 0);
    }
    EXPECT_EQ(::dup2(socket, descriptor), descriptor);
}

/** Returns the message that refuses the passed sockets, or an empty text if they are accepted. */
std::string refusal() {
    try {
        activationSockets();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

void activate(const std::string& descriptors, const std::string& pid = std::to_string(::getpid())) {
    ::setenv("LISTEN_PID", pid.c_str(), 1);
    ::setenv("LISTEN_FDS", descriptors.c_str(), 1);
}

TEST(ActivationSocketsDeathTest, AreThePassedDescriptors) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true, passed);
        pass(AF_UNIX, SOCK_STREAM, true, passed + 1);
        pass(AF_INET6, SOCK_STREAM, true, passed + 2);
        Sockets expected;
        for (const char* count : {"0", "1", "2", "3"}) {
            activate(count);
            EXPECT_EQ(activationSockets(), expected);
            expected.push_back(passed + static_cast<int>(expected.size()));
        }
        EXPECT_EQ(::fcntl(passed, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(passed + 1, F_GETFD), FD_CLOEXEC);
    });
}

TEST(ActivationSocketsDeathTest, AreEmptyForAnotherProcessAndIfNoneWasPassed) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        for (const auto& pid : {std::to_string(::getppid()), std::string(), std::string("x")}) {
            activate("1", pid);
            EXPECT_EQ(activationSockets(), Sockets{});
        }
        ::unsetenv("LISTEN_PID");
        EXPECT_EQ(activationSockets(), Sockets{});
        activate("0");
        EXPECT_EQ(activationSockets(), Sockets{});
        ::unsetenv("LISTEN_FDS");
        EXPECT_EQ(activationSockets(), Sockets{});
    });
}

TEST(ActivationSocketsDeathTest, MustHaveACountOfAtMostFourDigits) {
    inChildProcess([] {
        for (const std::string count : {"x", "-1", "1 ", "12345"}) {
            activate(count);
            EXPECT_EQ(refusal(),
                      "LISTEN_FDS: '" + count + "' is not a number of sockets (use at most 4 decimal digits)");
        }
    });
}

TEST(ActivationSocketsDeathTest, MustAllListenForStreams) {
    inChildProcess([] {
        pass(AF_INET, SOCK_STREAM, true);
        activate("2");
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

/** The socket of a service manager. NOTIFY_SOCKET contains its name. */
class NotifySocket : public LocalSocket {
public:
    explicit NotifySocket(const std::string& name = "@rynveld test " + std::to_string(::getpid()))
        : LocalSocket(SOCK_DGRAM, name) {
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket() { ::unsetenv("NOTIFY_SOCKET"); }
};

TEST(ServiceManager, IsNotifiedAtAPath) {
    const TemporaryWorkingFolder folder;
    // The path of a local socket has at most 107 bytes, but the path of the working folder may be longer.
    const NotifySocket manager("/proc/self/cwd/notify");
    notifyServiceManager("READY=1");
    EXPECT_EQ(manager.received(), "READY=1");
    EXPECT_EQ(manager.received(), "nothing");
}

TEST(ServiceManager, IsNotifiedInTheAbstractNameSpace) {
    const NotifySocket manager;
    notifyServiceManager("STOPPING=1");
    EXPECT_EQ(manager.received(), "STOPPING=1");
}

TEST(ServiceManager, IsNotNotifiedIfThereIsNone) {
    const std::string tooLong = "/" + std::string(sizeof(sockaddr_un::sun_path), 'x');
    for (const char* name : {"", "/", "relative", tooLong.c_str(), "/nowhere/notify"}) {
        ::setenv("NOTIFY_SOCKET", name, 1);
        EXPECT_NO_THROW(notifyServiceManager("READY=1"));
    }
    ::unsetenv("NOTIFY_SOCKET");
    EXPECT_NO_THROW(notifyServiceManager("READY=1"));
}

TEST(ServiceManager, IsNotWaitedForWhenItDoesNotReceive) {
    const NotifySocket manager;
    const int sender = manager.connect(SOCK_DGRAM | SOCK_NONBLOCK);
    while (::send(sender, "", 1, 0) == 1) {
    }
    notifyServiceManager("STOPPING=1");
    ::close(sender);
}

TEST(ServiceManager, LearnsWhenTheOptionsAreReadAgain) {
    const std::string state = Rynveld::reloadingState();
    const std::string beginning = "RELOADING=1\nMONOTONIC_USEC=";
    ASSERT_EQ(state.substr(0, beginning.size()), beginning);
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const std::chrono::microseconds time(std::stoll(state.substr(beginning.size())));
    EXPECT_LE(time, now);
    EXPECT_GT(time, now - std::chrono::minutes(10));
}

/** Returns the microseconds within which the service manager expects a message; 0 if it expects none. */
std::int64_t watchdogWith(const char* period, const std::string& process = "") {
    ::setenv("WATCHDOG_USEC", period, 1);
    ::setenv("WATCHDOG_PID", process.c_str(), 1);
    const auto result = Rynveld::watchdogPeriod();
    ::unsetenv("WATCHDOG_USEC");
    ::unsetenv("WATCHDOG_PID");
    return result ? result->count() : 0;
}

TEST(ServiceManager, SaysHowOftenItExpectsAMessage) {
    EXPECT_FALSE(Rynveld::watchdogPeriod().has_value());
    EXPECT_EQ(watchdogWith("30000000"), 30000000);
    EXPECT_EQ(watchdogWith("1", std::to_string(::getpid())), 1);
    EXPECT_EQ(watchdogWith("30000000", std::to_string(::getppid())), 0);
    for (const char* wrong : {"", "0", "-1", "x", "1x", " 1", "1000000000000000000"}) {
        EXPECT_EQ(watchdogWith(wrong), 0) << wrong;
    }
}

} // namespace
} // namespace RynvelTest
