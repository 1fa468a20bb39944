/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_WRITE_TAP_H
#define ZILTRACE_TESTS_WRITE_TAP_H

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

/** An object that intercepts all calls to write(2). Only one WriteTap may exist at a time. */
class WriteTap {
public:
    struct Call {
        int descriptor;
        std::string data;
    };
    using Reaction = std::function<ssize_t(int descriptor, const void* data, std::size_t size)>;

    /** @param reaction the function that replaces write(2). */
    explicit WriteTap(Reaction reaction);
    ~WriteTap();

    WriteTap(const WriteTap&) = delete;
    WriteTap& operator=(const WriteTap&) = delete;

    std::vector<Call> calls() const;

    ssize_t take(int descriptor, const void* data, std::size_t size);

    static ssize_t forward(int descriptor, const void* data, std::size_t size);
    static ssize_t swallow(int descriptor, const void* data, std::size_t size);

private:
    const Reaction m_reaction;
    mutable std::mutex m_mutex;
    std::vector<Call> m_calls;
};

#endif
