// SPDX-License-Identifier: MIT
#include "Addresses.h"
#include "Commands.h"
#include "Durations.h"
#include "Failure.h"
#include "FieldText.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"

namespace Rynvelctl {

namespace {

struct SleepOptions {
    std::string time;
};

struct ExpectOptions : RegisterOptions {
    std::string value;
};

void sleep(const CommandContext& context, const SleepOptions& options) {
    const auto time = Common::parseDuration(options.time);
    if (!time) {
        throw usageError("sleep: " + Common::notADuration(options.time));
    }
    waitUntil(Common::Deadline::earlier(Common::Deadline(*time), context.timeout().deadline()));
    context.timeout().requireTimeLeft("sleep");
}

/** The value that a register or a field must have. */
class Expectation {
public:
    /** @throws Failure if the text is not a value of the register or the field. */
    Expectation(const Addressed& addressed, const std::string& text) : m_text(text) {
        if (addressed.field() == nullptr) {
            m_value = parseValue("value", text, addressed.range.bits());
            return;
        }
        try {
            m_pattern = Maps::parsePattern(addressed.named->whole.place, *addressed.field(), text);
        } catch (const Maps::RefusedValue& refused) {
            throw usageError(addressed.range.device().name() + ": " + refused.what());
        }
    }

    /** @throws Failure if a register or a field has another value. @{ */
    void check(const RegisterValue& read) const {
        if (read.value != m_value) {
            throw mismatch(read.range, read.range.addressText(), hexadecimal(read.value, read.range.bits()));
        }
    }

    void check(const FieldReading& read) const {
        if (!m_pattern.matches(read.field)) {
            throw mismatch(read.range, pathOf(read.range, read.field), textOf(read.field));
        }
    }
    /** @} */

private:
    Failure mismatch(const RegisterRange& range, const std::string& place, const std::string& value) const {
        return {ExitStatus::Failed, range.device().name() + ": " + place + " is " + value + " instead of " + m_text};
    }

    std::string m_text;
    std::uint32_t m_value = 0;
    Maps::FieldPattern m_pattern;
};

void expect(const CommandContext& context, const ExpectOptions& options) {
    const Target& target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).find(options.address);
    requireReadable(addressed);
    const Expectation expectation(addressed, options.value);
    const Reading reading = readingOf(addressed, context.open(addressed.range)->read(addressed.range));
    std::visit([&expectation](const auto& read) { expectation.check(read); }, reading);
}

void addSleep(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<SleepOptions>();
    const Common::Command command =
        addCommand(program, chosen, "sleep", "wait for a time, between two commands of a file", options, sleep);
    command.addArgument("TIME", options->time, "the time, for example 100ms");
}

void addExpect(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<ExpectOptions>();
    const Common::Command command =
        addCommand(program, chosen, "expect", "fail if a register or a field has another value", options, expect);
    addRegister(command, *options);
    command.addArgument("VALUE", options->value, "the value that the register or the field must have");
    addIndexOption(command, *options);
}

} // namespace

void addScriptCommands(const Common::Command& program, Action& chosen) {
    addSleep(program, chosen);
    addExpect(program, chosen);
}

} // namespace Rynvelctl
