// SPDX-License-Identifier: MIT
#include <poll.h>

#include "Addresses.h"
#include "Commands.h"
#include "Durations.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"

namespace Rynvelctl {

namespace {

struct PollOptions : RegisterOptions {
    std::string value;
    std::string mask;
    std::string interval = "10ms";
    bool isNegated = false;
    bool includesSideEffects = false;
};

/** The condition that ends the command. */
class Condition {
public:
    /** @throws Failure if the condition can never hold, or if it is not valid for the register, field or bits. */
    Condition(const Addressed& addressed, const PollOptions& options) : m_addressed(addressed), m_options(options) {
        if (addressed.field() != nullptr) {
            requireNoMask("a field has");
            m_field = allowed(addressed.named->whole, [&] {
                return Maps::parsePattern(addressed.named->whole.place, *addressed.field(), options.value);
            });
            return;
        }
        const unsigned int width = addressed.bits ? addressed.bits->width() : addressed.range.bits();
        m_number = parseValue("value", options.value, width);
        if (addressed.bits) {
            requireNoMask("a range of bits has");
        } else if (!options.mask.empty()) {
            m_mask = parseMask(options.mask, width);
        }
    }

    bool holds(const Reading& reading) const { return isEqual(reading) != m_options.isNegated; }

    /** Returns why the condition does not hold, for an error message. */
    std::string problem() const {
        const std::string masked = m_options.mask.empty() ? "" : " with mask " + m_options.mask;
        return subject() + masked + (m_options.isNegated ? " is still " : " is not ") + m_options.value;
    }

private:
    std::string subject() const {
        if (m_addressed.field() != nullptr) {
            return "field " + m_addressed.named->name();
        }
        const std::string name = m_addressed.range.addressText();
        return m_addressed.bits ? name + m_addressed.bits->text() : "register " + name;
    }

    void requireNoMask(const std::string& owner) const {
        if (!m_options.mask.empty()) {
            throw usageError("--mask: " + owner + " a mask of its own (leave out --mask)");
        }
    }

    bool isEqual(const Reading& reading) const {
        const auto* const read = std::get_if<FieldReading>(&reading);
        return read != nullptr ? m_field.matches(read->field) : ((numberIn(reading) ^ m_number) & m_mask) == 0;
    }

    const Addressed& m_addressed;
    const PollOptions& m_options;
    Maps::FieldPattern m_field;
    std::uint32_t m_number = 0;
    std::uint32_t m_mask = UINT32_MAX;
};

/** Repeats the reading until the condition holds. */
class PollLoop {
public:
    PollLoop(const CommandContext& context, const Addressed& addressed, OpenDevice& device)
        : m_context(context), m_addressed(addressed), m_device(device) {}

    void run(const Condition& condition, std::chrono::milliseconds interval) {
        try {
            while (!condition.holds(readNext())) {
                pause(interval);
            }
        } catch (const Failure& failure) {
            if (failure.status() != ExitStatus::TimedOut || !m_last) {
                throw;
            }
            printAfterFailure();
            throw Failure(failure.status(), std::string(failure.what()) + " (" + condition.problem() + ')');
        }
        printLast();
    }

private:
    const Reading& readNext() {
        m_last = readingOf(m_addressed, m_device.read(m_addressed.range));
        return *m_last;
    }

    void pause(std::chrono::milliseconds interval) const {
        const CommandTimeout& timeout = m_context.timeout();
        const auto end = Common::Deadline::earlier(Common::Deadline(interval), timeout.deadline());
        ::poll(nullptr, 0, end.pollTimeout());
        timeout.requireTimeLeft(m_addressed.range.device().name());
    }

    void printLast() const {
        std::visit([this](const auto& read) { m_context.output().print(read); }, *m_last);
    }

    // The status 0 of a closed output would mean that the condition holds.
    void printAfterFailure() const {
        try {
            printLast();
        } catch (const OutputClosed&) {
        }
    }

    const CommandContext& m_context;
    const Addressed& m_addressed;
    OpenDevice& m_device;
    std::optional<Reading> m_last;
};

void pollRegister(const CommandContext& context, const PollOptions& options) {
    const Target target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).findPart(options.address);
    requireReadable(addressed);
    if (addressed.named && !options.includesSideEffects) {
        requireHarmlessRead(addressed.named->whole, "--with-side-effects reads it");
    }
    const Condition condition(addressed, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const auto device = openDevice(addressed.range, context.timeout());
    PollLoop(context, addressed, *device).run(condition, interval);
}

} // namespace

void addPollCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<PollOptions>();
    const Common::Command command =
        addCommand(program, chosen, "poll", "read a register or a field until it has a value", options, pollRegister);
    addRegister(command, *options);
    command.addArgument("VALUE", options->value, "the value to wait for");
    command.addOption("--mask", "MASK", options->mask, "compare only the bits that are set in the mask");
    command.addFlag("--not", options->isNegated, "wait until the value is different");
    command.addOption("--interval", "TIME", options->interval, "the time from one read to the next (default: 10ms)");
    command.addFlag("--with-side-effects", options->includesSideEffects,
                    "also read a register whose reading has a side effect");
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
