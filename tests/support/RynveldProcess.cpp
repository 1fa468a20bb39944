#include "RynveldProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include <gtest/gtest.h>

#include "ComesAbout.h"

namespace RynvelTest {

namespace {

/** A server's command, its emulator included where the build has one. */
Arguments commandOf(RynveldProcess::Devices devices) {
    std::istringstream text(devices == RynveldProcess::Devices::Board ? RYNVELD : RYNVELD_WITH_TEST_DEVICES);
    Arguments command;
    for (std::string word; std::getline(text, word, '|');) {
        command.push_back(word);
    }
    return command;
}

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0); }

    std::array<int, 2> ends{-1, -1};
};

std::string readToTheEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t size = ::read(descriptor, piece.data(), piece.size()); size > 0;
         size = ::read(descriptor, piece.data(), piece.size())) {
        text.append(piece.data(), static_cast<std::size_t>(size));
    }
    ::close(descriptor);
    return text;
}

std::string readLine(int descriptor) {
    std::string line;
    char character = 0;
    while (::read(descriptor, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

/** The channels trace what the launch says, whatever the environment of the tests does. */
pid_t spawn(const Arguments& command, const RynveldProcess::Launch& launch, int output, int errors) {
    Arguments words = {"/bin/sh", "-c", launch.preparation + "export ZILTRACE='" + launch.traces + "'; exec \"$@\"",
                       "sh"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> pointers;
    std::transform(words.begin(), words.end(), std::back_inserter(pointers), [](auto& word) { return word.data(); });
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    int next = 3;
    for (const int descriptor : launch.passed) {
        posix_spawn_file_actions_adddup2(&actions, descriptor, next++);
    }
    // What a test leaves open, such as the sockets of remote devices, is not the server's.
    posix_spawn_file_actions_addclosefrom_np(&actions, next);
    pid_t pid = -1;
    EXPECT_EQ(::posix_spawn(&pid, "/bin/sh", &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/** Whether the process has ended; it can still be asked for its status. */
bool hasEnded(pid_t pid) {
    siginfo_t state{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &state, WEXITED | WNOHANG | WNOWAIT), 0);
    return state.si_pid == pid;
}

int statusOf(pid_t pid) {
    int status = 0;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

Arguments joined(Arguments first, const Arguments& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace

Ended runRynveld(const Arguments& arguments) {
    const Pipe output;
    const Pipe errors;
    const pid_t pid =
        spawn(joined(commandOf(RynveldProcess::Devices::Board), arguments), {}, output.ends[1], errors.ends[1]);
    ::close(output.ends[1]);
    ::close(errors.ends[1]);
    Ended ended;
    ended.output = readToTheEnd(output.ends[0]);
    ended.errors = readToTheEnd(errors.ends[0]);
    ended.status = statusOf(pid);
    return ended;
}

RynveldProcess::RynveldProcess(const Arguments& arguments, const Launch& launch) : m_isRead(launch.isRead) {
    const Pipe errors;
    m_pid = spawn(joined(joined(commandOf(launch.devices), launch.listen), arguments), launch, STDOUT_FILENO,
                  errors.ends[1]);
    ::close(errors.ends[1]);
    m_errors = errors.ends[0];
    m_banner = readLine(m_errors);
    EXPECT_NE(m_banner.find("rynveld: listening on "), std::string::npos) << m_banner;
    const auto port = m_banner.rfind(':') + 1;
    if (port < m_banner.size() && std::isdigit(static_cast<unsigned char>(m_banner[port])) != 0) {
        m_port = static_cast<std::uint16_t>(std::stoul(m_banner.substr(port)));
    }
    if (m_isRead) {
        m_drain = std::thread([this] { m_laterErrors = readToTheEnd(m_errors); });
    }
}

RynveldProcess::~RynveldProcess() {
    if (m_pid != -1) {
        end();
    }
    if (!m_isRead) {
        ::close(m_errors);
    }
}

void RynveldProcess::end(int signal) {
    stop(signal);
    EXPECT_EQ(m_laterErrors, "");
}

std::string RynveldProcess::endWithText() {
    stop(SIGTERM);
    return m_laterErrors;
}

void RynveldProcess::stop(int signal) {
    EXPECT_EQ(::kill(m_pid, signal), 0);
    if (!comesAbout([this] { return hasEnded(m_pid); })) {
        ADD_FAILURE() << "the server has not ended";
        ::kill(m_pid, SIGKILL);
    }
    if (m_drain.joinable()) {
        m_drain.join();
    }
    EXPECT_EQ(statusOf(std::exchange(m_pid, -1)), 0);
}

void RynveldProcess::fillStandardError() const {
    const int pipe = ::open(("/proc/self/fd/" + std::to_string(m_errors)).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const std::array<char, 4096> piece{};
    while (::write(pipe, piece.data(), piece.size()) > 0) {
    }
    while (::write(pipe, piece.data(), 1) > 0) {
    }
    ::close(pipe);
}

std::size_t RynveldProcess::descriptors() const {
    const std::filesystem::directory_iterator folder("/proc/" + std::to_string(m_pid) + "/fd");
    return static_cast<std::size_t>(std::distance(folder, std::filesystem::directory_iterator()));
}

bool RynveldProcess::isIdle() const {
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(m_pid) + "/task");
    return std::all_of(tasks, std::filesystem::directory_iterator(), [](const auto& task) {
        std::ifstream file(task.path() / "stat");
        std::string stat;
        std::getline(file, stat);
        return stat.find(") S ") != std::string::npos;
    });
}

std::size_t RynveldProcess::numberOf(const std::string& status) const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, status.size() + 1, status + ':') == 0) {
            return std::stoul(line.substr(status.size() + 1));
        }
    }
    ADD_FAILURE() << "the server is gone";
    return 0;
}

} // namespace RynvelTest
