/**
 * @file
 * What the server does wrong on purpose, for the tests of clients.
 */
#ifndef RYNVELD_FAULTS_H
#define RYNVELD_FAULTS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Rynveld {

struct Fault {
    enum class Kind { Delay, Error, Split, Disconnect };

    Kind kind;
    /** Delay: how long the answer is held back. Split: how long its second half is. */
    std::chrono::milliseconds time;
    /** The fault is at each request of a connection whose number, from 1 on, is a multiple of this. */
    std::uint32_t every;
};

/**
 * A fault as on the command line: "delay=TIME", "error", "split=TIME" or "disconnect", each with ":COUNT" behind it
 * when it is not at every request.
 *
 * @return none for any other text.
 */
std::optional<Fault> parseFault(const std::string& text);

/** What goes wrong with one request. */
struct InjectedFaults {
    /** 0 for none. */
    std::chrono::milliseconds delay{0};
    /** The pause between the halves of the answer; 0 for none. */
    std::chrono::milliseconds split{0};
    bool fails = false;
    bool disconnects = false;
};

/** The faults of one connection. */
class FaultInjector {
public:
    explicit FaultInjector(const std::vector<Fault>& faults) : m_faults(faults) {}

    /** What goes wrong with the next request. */
    InjectedFaults next();

private:
    const std::vector<Fault>& m_faults;
    std::uint32_t m_requests = 0;
};

} // namespace Rynveld

#endif
