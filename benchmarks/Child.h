#ifndef RYNVEL_BENCHMARKS_CHILD_H
#define RYNVEL_BENCHMARKS_CHILD_H

#include <sys/types.h>

#include <functional>

namespace RynvelBenchmark {

/** A process that runs a body, and ends with it, with the object, and with the process that made it. */
class Child {
public:
    explicit Child(const std::function<void()>& body);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

private:
    pid_t m_process;
};

/** Forks a process that runs the body and ends with it, or with the process that called. Returns its number. */
pid_t runInChild(const std::function<void()>& body);

} // namespace RynvelBenchmark

#endif
