/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The progress of a command that writes registers, for its error messages.
 */
#ifndef RYNVELCTL_WRITEPROGRESS_H
#define RYNVELCTL_WRITEPROGRESS_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Failure.h"
#include "TerminationSignals.h"
#include "WriteList.h"

namespace Rynvelctl {

/**
 * The progress of a command that writes registers and fields one after the other. As long as the object exists, a
 * signal that ends the program also prints the progress. Only one object can exist at a time.
 */
class WriteProgress {
public:
    /**
     * @param device the name of the device, for the message after a signal.
     * @param names the registers and fields as the user gave them, in the order of the writes.
     */
    WriteProgress(const std::string& device, const std::vector<std::string>& names);
    WriteProgress(const std::string& device, std::unique_ptr<const WriteList> writes);
    WriteProgress(const WriteProgress&) = delete;
    WriteProgress& operator=(const WriteProgress&) = delete;
    ~WriteProgress();

    /**
     * Calls a function that handles the next register, and that uses write() for the write itself.
     *
     * @throws Failure if the function throws it. The message says what was written, and the outcome for this register.
     * If the command writes only one register, the message contains this only if a server has not answered.
     */
    template <typename Function>
    void step(const Function& function) {
        try {
            function();
        } catch (const UnansweredRequest& failure) {
            throw described(failure);
        } catch (const Failure& failure) {
            throw m_writes->count() == 1 ? failure : described(failure);
        }
        enter(done() + 1, Outcome::NotWritten);
    }

    /** Calls the function that writes the register. */
    template <typename Function>
    void write(const Function& function) {
        enter(done(), Outcome::Unknown);
        try {
            function();
        } catch (const UnansweredRequest&) {
            throw;
        } catch (...) {
            enter(done(), Outcome::NotWritten);
            throw;
        }
        enter(done(), Outcome::Unconfirmed);
    }

    /**
     * Calls a function that prints the results.
     *
     * @throws Failure if the function throws it, with the progress in the message.
     */
    template <typename Function>
    void print(const Function& function) const {
        try {
            function();
        } catch (const Failure& failure) {
            throw described(failure);
        }
    }

    /** Returns the number of registers and fields that were written without a failure. */
    std::size_t done() const { return m_state / outcomes; }

private:
    using Outcome = WriteList::Outcome;
    static constexpr std::size_t outcomes = 3;

    /** The signal handler. */
    static void endWithMessage(int number);

    void enter(std::size_t done, Outcome outcome);
    /** Returns a failure with the progress at the end of its message. */
    Failure described(const Failure& failure) const { return extended(failure, pieces()); }
    Pieces pieces() const;
    void printAfterSignal();

    const std::unique_ptr<const WriteList> m_writes;
    /** The beginning of the message after a signal. */
    std::string m_prefix;
    /** The memory for the message after a signal. */
    std::string m_message;
    /**
     * The number of registers that are done, times the number of outcomes, plus the outcome. A single number contains
     * both, because a signal may arrive between two changes.
     */
    std::atomic<std::size_t> m_state{0};
    /** This member must be the last, because its handler uses the other members. */
    TerminationSignalHandler m_terminationSignals{endWithMessage};
};

} // namespace Rynvelctl

#endif
