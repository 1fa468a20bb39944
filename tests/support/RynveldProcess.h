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

/** Runs the server of this build until it ends. */
Ending runRynveld(const Arguments& arguments);

/** The register server as a process of its own, with a port of the system's choice. */
class RynveldProcess {
public:
    /** The device table of the server: the table of the control board, or that of tests/server/devices.def. */
    enum class Devices { Board, Tests };

    struct Launch {
        Devices devices = Devices::Tests;
        /** See Process::Launch. */
        std::string preparation;
        std::vector<int> passed;
        /** The levels of the trace channels, in the form of ZILTRACE. */
        std::string traces = "*=0";
        /** Whether the test reads standard error after the first line. */
        bool isRead = true;
        /** Appended to the arguments. */
        Arguments listen = {"--listen", "127.0.0.1:0"};
    };

    /** Returns when the server listens. */
    explicit RynveldProcess(const Arguments& arguments) : RynveldProcess(arguments, Launch()) {}
    RynveldProcess(const Arguments& arguments, const Launch& launch);
    RynveldProcess(const RynveldProcess&) = delete;
    RynveldProcess& operator=(const RynveldProcess&) = delete;
    /** Ends the server with SIGTERM if it still runs. */
    ~RynveldProcess();

    /** 0 if the server listens on local sockets only. */
    std::uint16_t port() const { return m_port; }
    /** The address of the server, in the form of a remote device. */
    std::string address() const { return "127.0.0.1::" + std::to_string(m_port); }
    /** The first line of standard error. */
    const std::string& banner() const { return m_banner; }
    pid_t pid() const { return m_process.pid(); }

    /** Fills the pipe that is the standard error of the server. */
    void fillStandardError() const;

    /** Sends the signal, and expects the exit status 0 and no further text on standard error. */
    void end(int signal = SIGTERM);

    /** Ends the server in the same way. Returns the text on standard error after the first line. */
    std::string endWithText();

    std::size_t descriptors() const;
    std::size_t threads() const { return numberOf("Threads"); }
    /** In KiB. */
    std::size_t residentMemory() const { return numberOf("VmRSS"); }

    /** Tells whether all threads sleep at this moment. */
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
