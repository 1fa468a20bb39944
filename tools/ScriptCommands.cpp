// SPDX-License-Identifier: MIT
#include "Addresses.h"
#include "Commands.h"
#include "Condition.h"
#include "Failure.h"
#include "Formats.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

struct SleepOptions {
    std::string time;
};

struct ExpectOptions : RegisterOptions {
    ConditionOptions condition;
};

void sleep(const CommandContext& context, const SleepOptions& options) {
    const auto time = Common::parseDuration(options.time);
    if (!time) {
        throw usageError("sleep: " + Common::notADuration(options.time));
    }
    context.output().waitUntil(Common::Deadline::earlier(Common::Deadline(*time), context.timeout().deadline()));
    context.timeout().requireTimeLeft("sleep");
}

void expect(const CommandContext& context, const ExpectOptions& options) {
    const Target& target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).findPart(options.address);
    requireReadable(addressed);
    const Condition condition(addressed, options.condition);
    const Reading reading = readingOf(addressed, context.open(addressed.range)->read(addressed.range));
    if (!condition.holds(reading)) {
        const std::string value = valueText(reading, context.output().base());
        throw Failure(ExitStatus::Failed, target.name() + ": " + condition.problem() + " (the value is " + value + ')');
    }
}

void addSleep(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<SleepOptions>();
    const Common::Command command = addCommand(
        program, chosen, "sleep", "wait for a time, for example between two commands of a file", options, sleep);
    command.addArgument("TIME", options->time, "the time, for example 100ms");
}

void addExpect(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<ExpectOptions>();
    const Common::Command command = addCommand(
        program, chosen, "expect", "fail if a register or a field does not have the given value", options, expect);
    addRegister(command, *options);
    addCondition(command, options->condition, "the value that the register or the field must have",
                 "fail if the register or the field has this value");
    addIndexOption(command, *options);
}

} // namespace

void addScriptCommands(const Common::Command& program, Action& chosen) {
    addSleep(program, chosen);
    addExpect(program, chosen);
}

} // namespace Rynvelctl
