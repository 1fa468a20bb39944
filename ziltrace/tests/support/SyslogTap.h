/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_SYSLOG_TAP_H
#define ZILTRACE_TESTS_SYSLOG_TAP_H

#include <string>
#include <vector>

/**
 * A recorder of the calls to syslog(3) in the thread that creates the recorder. The program discards all calls in other
 * threads. No call reaches the system log.
 */
class SyslogTap {
public:
    struct Call {
        int priority;
        std::string message;
    };

    SyslogTap();
    ~SyslogTap();

    SyslogTap(const SyslogTap&) = delete;
    SyslogTap& operator=(const SyslogTap&) = delete;

    std::vector<Call> calls;
};

#endif
