// SPDX-License-Identifier: MIT
#include <poll.h>

#include "Addresses.h"
#include "Commands.h"
#include "Condition.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

struct PollOptions : RegisterOptions {
    ConditionOptions condition;
    std::string interval = "10ms";
    bool includesSideEffects = false;
};

/** Reads a register until a condition holds. */
class PollLoop {
public:
    PollLoop(const CommandContext& context, const Addressed& addressed, OpenDevice& device)
        : m_context(context), m_addressed(addressed), m_device(device) {}

    void run(const Condition& condition, std::chrono::milliseconds interval) {
        try {
            waitFor(condition, interval);
        } catch (const Failure& failure) {
            if (failure.status() != ExitStatus::TimedOut || !m_last) {
                throw;
            }
            printAfterFailure();
            throw Failure(failure.status(), std::string(failure.what()) + " (" + condition.problem() + ')');
        }
        printAfterSuccess();
    }

private:
    const CommandTimeout& timeout() const { return m_context.timeout(); }

    void waitFor(const Condition& condition, std::chrono::milliseconds interval) {
        while (!condition.holds(keep(m_device.read(m_addressed.range)))) {
            pause(interval);
            if (timeout().deadline().hasPassed()) {
                if (!holdsLate(condition)) {
                    throw timeout().failure(m_addressed.range.device().name());
                }
                return;
            }
        }
    }

    /** Reads the register once more, because the condition may have become true during the last pause. */
    bool holdsLate(const Condition& condition) {
        try {
            return condition.holds(keep(m_device.readLate(m_addressed.range)));
        } catch (const Failure&) {
            return false;
        }
    }

    const Reading& keep(std::uint32_t value) {
        m_last = readingOf(m_addressed, value);
        return *m_last;
    }

    void pause(std::chrono::milliseconds interval) const {
        const auto end = Common::Deadline::earlier(Common::Deadline(interval), timeout().deadline());
        ::poll(nullptr, 0, end.pollTimeout());
    }

    void printLast() const { m_context.output().print(*m_last); }

    // Every failure of the output has status 1, even a time-out, because status 4 means that the condition does not
    // hold. The message adds that the condition holds.
    void printAfterSuccess() const {
        try {
            printLast();
        } catch (const Failure& failure) {
            throw Failure(ExitStatus::Failed, std::string(failure.what()) + " (the condition holds)");
        }
    }

    // Ignores a failed or closed output, because the status and the message must say that the time-out has expired.
    void printAfterFailure() const {
        try {
            printLast();
        } catch (const OutputClosed&) {
        } catch (const Failure&) {
        }
    }

    const CommandContext& m_context;
    const Addressed& m_addressed;
    OpenDevice& m_device;
    std::optional<Reading> m_last;
};

void pollRegister(const CommandContext& context, const PollOptions& options) {
    const Target& target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).findPart(options.address);
    requireReadable(addressed);
    if (!options.includesSideEffects) {
        requireHarmlessRead(addressed);
    }
    const Condition condition(addressed, options.condition);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const auto device = context.open(addressed.range);
    PollLoop(context, addressed, *device).run(condition, interval);
}

} // namespace

void addPollCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<PollOptions>();
    const Common::Command command = addCommand(
        program, chosen, "poll", "read a register or a field until it has the given value", options, pollRegister);
    addRegister(command, *options);
    addCondition(command, options->condition, "the value to wait for",
                 "wait until the register or the field has another value");
    command.addOption("--interval", "TIME", options->interval, "the pause between two reads (default: 10ms)");
    addSideEffectsOption(command, options->includesSideEffects);
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
