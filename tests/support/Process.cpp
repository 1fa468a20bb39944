// SPDX-License-Identifier: MIT
#include "Process.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0); }

    std::array<int, 2> ends{-1, -1};
};

/** Appends the available bytes to the text. Returns false at the end of the input. */
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> piece{};
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    text.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

/** Reads both descriptors to their ends, and appends the bytes to the texts. Skips a descriptor that is -1. */
void readAll(int first, std::string& firstText, int second, std::string& secondText) {
    std::array<pollfd, 2> waiting{{{first, POLLIN, 0}, {second, POLLIN, 0}}};
    while (waiting[0].fd != -1 || waiting[1].fd != -1) {
        ::poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].fd != -1 && waiting[0].revents != 0 && !readSome(first, firstText)) {
            waiting[0].fd = -1;
        }
        if (waiting[1].fd != -1 && waiting[1].revents != 0 && !readSome(second, secondText)) {
            waiting[1].fd = -1;
        }
    }
}

} // namespace

Process::Process(const Arguments& command, const Launch& launch) {
    const Pipe error;
    m_error = error.ends[0];
    if (launch.output == toTheTest) {
        const Pipe output;
        m_output = output.ends[0];
        start(command, launch, output.ends[1], error.ends[1]);
        ::close(output.ends[1]);
    } else {
        start(command, launch, launch.output, error.ends[1]);
    }
    ::close(error.ends[1]);
}

void Process::start(const Arguments& command, const Launch& launch, int output, int error) {
    Arguments words = {"/bin/sh", "-c", launch.preparation + "exec \"$@\"", "sh"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> pointers;
    std::transform(words.begin(), words.end(), std::back_inserter(pointers), [](auto& word) { return word.data(); });
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    int next = 3;
    for (const int descriptor : launch.passed) {
        posix_spawn_file_actions_adddup2(&actions, descriptor, next++);
    }
    posix_spawn_file_actions_addclosefrom_np(&actions, next);
    EXPECT_EQ(::posix_spawn(&m_pid, "/bin/sh", &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
}

Process::~Process() {
    closeOutput();
    if (m_pid != -1) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    ::close(m_error);
}

std::string Process::line(int descriptor) {
    std::string text;
    char character = 0;
    while (::read(descriptor, &character, 1) == 1 && character != '\n') {
        text += character;
    }
    return text;
}

void Process::closeOutput() {
    if (m_output != -1) {
        ::close(std::exchange(m_output, -1));
    }
}

void Process::signal(int number) const { EXPECT_EQ(::kill(m_pid, number), 0); }

bool Process::hasEnded() const {
    siginfo_t state{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(m_pid), &state, WEXITED | WNOHANG | WNOWAIT), 0);
    return state.si_pid == m_pid;
}

Ending Process::wait() {
    Ending ending{};
    readAll(m_output, ending.output, m_error, ending.error);
    int status = 0;
    EXPECT_EQ(::waitpid(m_pid, &status, 0), m_pid);
    m_pid = -1;
    ending.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    return ending;
}

std::string readToTheEnd(int descriptor) {
    std::string text;
    while (readSome(descriptor, text)) {
    }
    return text;
}

} // namespace RynvelTest
