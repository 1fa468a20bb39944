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

/**
 * Runs the server of this build, and waits until the server ends.
 *
 * @param preparation and @param passed are the members of Process::Launch.
 */
Ending runRynveld(const Arguments& arguments, const std::string& preparation = "", const std::vector<int>& passed = {});

/** A register server in its own process, on a port that the system chooses. */
class RynveldProcess {
public:
    /** The device table of the server. Board is the table of the control board. Tests is tests/server/devices.def. */
    enum class Devices { Board, Tests };

    struct Launch {
        Devices devices = Devices::Tests;
        /** The preparation and the passed descriptors of Process::Launch. */
        std::string preparation;
        std::vector<int> passed;
        /** The levels of the trace channels, in the form of ZILTRACE. */
        std::string traces = "*=0";
        /** Whether the test reads standard error after the first line. */
        bool isRead = true;
        /** The options that precede the other arguments of the server. */
        Arguments listen = {"--listen", "127.0.0.1:0"};
    };

    /** Starts the server, and waits until the server listens. */
    explicit RynveldProcess(const Arguments& arguments) : RynveldProcess(arguments, Launch()) {}
    RynveldProcess(const Arguments& arguments, const Launch& launch);
    RynveldProcess(const RynveldProcess&) = delete;
    RynveldProcess& operator=(const RynveldProcess&) = delete;
    /** Ends the server with SIGTERM if it still runs. */
    ~RynveldProcess();

    /** Returns the TCP port, or 0 if the server listens on local sockets only. */
    std::uint16_t port() const { return m_port; }
    /** Returns the TCP port of the metrics, or 0 if the server has none. */
    std::uint16_t metricsPort() const { return m_metricsPort; }
    /** Returns the address of the server in the form that a remote device needs, HOST::PORT. */
    std::string address() const { return "127.0.0.1::" + std::to_string(m_port); }
    /** Returns the first line of standard error. */
    const std::string& banner() const { return m_banner; }
    pid_t pid() const { return m_process.pid(); }

    /** Fills the pipe to which the server writes standard error. */
    void fillStandardError() const;

    /** Sends the signal, and expects the exit status 0 and no further text on standard error. */
    void end(int signal = SIGTERM);

    /** Sends SIGTERM, and expects the exit status 0. Returns the text on standard error after the first line. */
    std::string endWithText();

    std::size_t descriptors() const;
    std::size_t threads() const { return numberOf("Threads"); }
    /** Returns the resident memory of the server in KiB. */
    std::size_t residentMemory() const { return numberOf("VmRSS"); }

    /** Returns whether all threads of the server sleep at this moment. */
    bool isIdle() const;

private:
    void stop(int signal);
    std::size_t numberOf(const std::string& status) const;

    const bool m_isRead;
    Process m_process;
    std::string m_banner;
    std::string m_laterErrors;
    std::uint16_t m_port = 0;
    std::uint16_t m_metricsPort = 0;
    std::thread m_drain;
};

} // namespace RynvelTest

#endif
