/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_BENCHMARKS_CHILD_H
#define RYNVEL_BENCHMARKS_CHILD_H

#include <functional>

#include <sys/types.h>

namespace RynvelBenchmark {

/** A process that runs `body`. The process ends when `body` returns, the object is destroyed or the parent ends. */
class Child {
public:
    explicit Child(const std::function<void()>& body);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

private:
    pid_t m_process;
};

/** Forks a process that runs `body` and ends when `body` returns or the parent ends. Returns the process ID. */
pid_t runInChild(const std::function<void()>& body);

} // namespace RynvelBenchmark

#endif
