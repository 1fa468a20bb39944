// SPDX-License-Identifier: MIT
#include "RynveldProcess.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"

namespace RynvelTest {

namespace {

/** Returns the command that starts the server, with the emulator if the build has one. */
Arguments commandOf(RynveldProcess::Devices devices) {
    std::istringstream text(devices == RynveldProcess::Devices::Board ? RYNVELD : RYNVELD_WITH_TEST_DEVICES);
    Arguments command;
    for (std::string word; std::getline(text, word, '|');) {
        command.push_back(word);
    }
    return command;
}

/** Returns a launch that sets ZILTRACE, so that the environment of the tests has no effect on the traces. */
Process::Launch shellOf(const RynveldProcess::Launch& launch, int output) {
    return {launch.preparation + "export ZILTRACE='" + launch.traces + "'; ", launch.passed, output};
}

Arguments joined(Arguments first, const Arguments& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** Returns the number after the last colon, or at the beginning of a text without a colon; 0 without a number. */
std::uint16_t lastPortIn(const std::string& text) {
    const auto port = text.rfind(':') + 1;
    const bool isNumber = port < text.size() && std::isdigit(static_cast<unsigned char>(text[port])) != 0;
    return isNumber ? static_cast<std::uint16_t>(std::stoul(text.substr(port))) : std::uint16_t{0};
}

} // namespace

Ending runRynveld(const Arguments& arguments, const std::string& preparation, const std::vector<int>& passed) {
    RynveldProcess::Launch launch;
    launch.preparation = preparation;
    launch.passed = passed;
    return Process(joined(commandOf(RynveldProcess::Devices::Board), arguments), shellOf(launch, Process::toTheTest))
        .wait();
}

RynveldProcess::RynveldProcess(const Arguments& arguments, const Launch& launch)
    : m_isRead(launch.isRead),
      m_process(joined(joined(commandOf(launch.devices), launch.listen), arguments), shellOf(launch, STDOUT_FILENO)) {
    m_banner = m_process.errorLine();
    EXPECT_NE(m_banner.find("rynveld: listening on "), std::string::npos) << m_banner;
    const auto end = m_banner.find(", metrics at http://");
    m_port = lastPortIn(m_banner.substr(0, end));
    m_metricsPort = end == std::string::npos ? std::uint16_t{0} : lastPortIn(m_banner.substr(end));
    if (m_isRead) {
        m_drain = std::thread([this] { m_laterErrors = readToTheEnd(m_process.error()); });
    }
}

RynveldProcess::~RynveldProcess() {
    if (pid() != -1) {
        end();
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
    m_process.signal(signal);
    if (!becomesTrue([this] { return m_process.hasEnded(); })) {
        ADD_FAILURE() << "the server has not ended within a minute";
        m_process.signal(SIGKILL);
    }
    if (m_drain.joinable()) {
        m_drain.join();
    }
    EXPECT_EQ(m_process.wait().status, 0);
}

void RynveldProcess::fillStandardError() const {
    const int pipe =
        ::open(("/proc/self/fd/" + std::to_string(m_process.error())).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const std::array<char, 4096> piece{};
    while (::write(pipe, piece.data(), piece.size()) > 0) {
    }
    while (::write(pipe, piece.data(), 1) > 0) {
    }
    ::close(pipe);
}

std::size_t RynveldProcess::descriptors() const {
    const std::filesystem::directory_iterator folder("/proc/" + std::to_string(pid()) + "/fd");
    return static_cast<std::size_t>(std::distance(folder, std::filesystem::directory_iterator()));
}

bool RynveldProcess::isIdle() const {
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(pid()) + "/task");
    return std::all_of(tasks, std::filesystem::directory_iterator(), [](const auto& task) {
        std::ifstream file(task.path() / "stat");
        std::string stat;
        std::getline(file, stat);
        return stat.find(") S ") != std::string::npos;
    });
}

std::size_t RynveldProcess::numberOf(const std::string& status) const {
    std::ifstream file("/proc/" + std::to_string(pid()) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, status.size() + 1, status + ':') == 0) {
            return std::stoul(line.substr(status.size() + 1));
        }
    }
    ADD_FAILURE() << "the server has ended";
    return 0;
}

} // namespace RynvelTest
