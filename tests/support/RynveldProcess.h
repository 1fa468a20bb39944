/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_RYNVELDPROCESS_H
#define RYNVEL_TESTS_RYNVELDPROCESS_H

#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "Process.h"

namespace RynvelTest {

/** Runs the server of this build to its end. */
Ending runRynveld(const Arguments& arguments);

/** The register server as a process of its own, with a port of the system's choice. */
class RynveldProcess {
public:
    /** Whose device table it has: the control board's, or the one of tests/server/devices.def. */
    enum class Devices { Board, Tests };

    struct Launch {
        Devices devices = Devices::Tests;
        /** As a process has them. */
        std::string preparation;
        std::vector<int> passed;
        /** The levels of the trace channels, as ZILTRACE has them. */
        std::string traces = "*=0";
        /** Whether what it writes to standard error is taken, other than its first line. */
        bool isRead = true;
        /** Appended to the arguments. */
        Arguments listen = {"--listen", "127.0.0.1:0"};
    };

    /** Returns when it listens. */
    explicit RynveldProcess(const Arguments& arguments) : RynveldProcess(arguments, Launch()) {}
    RynveldProcess(const Arguments& arguments, const Launch& launch);
    RynveldProcess(const RynveldProcess&) = delete;
    RynveldProcess& operator=(const RynveldProcess&) = delete;
    /** Ends it with SIGTERM when it still runs. */
    ~RynveldProcess();

    /** 0 when it listens on local sockets alone. */
    std::uint16_t port() const { return m_port; }
    /** The server as a remote device names it. */
    std::string address() const { return "127.0.0.1::" + std::to_string(m_port); }
    /** The line that it starts with. */
    const std::string& banner() const { return m_banner; }
    pid_t pid() const { return m_process.pid(); }

    /** Fills the pipe that is its standard error, which nobody reads. */
    void fillStandardError() const;

    /** Signals it to end, and expects it to do so with status 0, and to have said nothing more where that is read. */
    void end(int signal = SIGTERM);

    /** The same with what it has said after its first line. */
    std::string endWithText();

    std::size_t descriptors() const;
    std::size_t threads() const { return numberOf("Threads"); }
    /** In KiB. */
    std::size_t residentMemory() const { return numberOf("VmRSS"); }

    /** Whether none of its threads has anything to do at this moment. */
    bool isIdle() const;

private:
    void stop(int signal);
    std::size_t numberOf(const std::string& status) const;

    const bool m_isRead;
    Process m_process;
    std::string m_banner;
    std::string m_laterErrors;
    std::uint16_t m_port = 0;
    std::thread m_drain;
};

} // namespace RynvelTest

#endif
