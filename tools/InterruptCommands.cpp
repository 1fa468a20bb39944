// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cerrno>
#include <variant>

#include <poll.h>

#include "Commands.h"
#include "Completion.h"
#include "EventFormat.h"
#include "Failure.h"
#include "NumberArguments.h"
#include "OpenDevice.h"
#include "OpenRemoteDevice.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

using std::chrono::milliseconds;

constexpr const char* raiseNeedsSimulation = "raise works only with a server that runs with --simulate";

struct IrqOptions {
    std::string name;
    std::string action;
    std::string word;
    std::string format;
};

struct WaitOptions {
    std::string name;
    std::string each;
    std::string count = "1";
    std::string format;
};

const Target& targetWithInterrupts(const CommandContext& context, const std::string& name) {
    const Target& target = context.target(name);
    if (!target.type.hasInterrupts) {
        throw usageError(name + ": a device of type " + target.type.name + " has no interrupts");
    }
    return target;
}

using IrqResult = std::variant<InterruptType, InterruptState>;

IrqResult showType(const CommandContext& context, const IrqOptions& options) {
    const Target& target = targetWithInterrupts(context, options.name);
    const auto type = context.open(target)->interruptType();
    if (!type) {
        throw Failure(ExitStatus::Failed, target.name() + ": the device has no interrupts");
    }
    return InterruptType{target.name(), *type};
}

IrqResult enable(const CommandContext& context, const IrqOptions& options) {
    const Target& target = targetWithInterrupts(context, options.name);
    context.open(target)->enableInterrupts();
    return InterruptState{target.name(), "enabled"};
}

IrqResult disable(const CommandContext& context, const IrqOptions& options) {
    const Target& target = targetWithInterrupts(context, options.name);
    context.open(target)->disableInterrupts();
    return InterruptState{target.name(), "disabled"};
}

IrqResult raise(const CommandContext& context, const IrqOptions& options) {
    const Target& target = targetWithInterrupts(context, options.name);
    if (!target.server) {
        throw usageError(target.name() + ": " + raiseNeedsSimulation + " (use --remote with such a server)");
    }
    const std::uint32_t word = options.word.empty() ? 1 : parseNumber("word", options.word);
    OpenRemoteDevice(target).raiseInterrupt(word);
    return InterruptState{target.name(), "raised"};
}

struct IrqAction {
    const char* name;
    IrqResult (*run)(const CommandContext& context, const IrqOptions& options);
};

constexpr std::array<IrqAction, 4> irqActions{
    {{"type", showType}, {"enable", enable}, {"disable", disable}, {"raise", raise}}};

std::vector<std::string> irqActionNames() {
    std::vector<std::string> names;
    names.reserve(irqActions.size());
    for (const IrqAction& action : irqActions) {
        names.emplace_back(action.name);
    }
    return names;
}

void irq(const CommandContext& context, const IrqOptions& options) {
    const auto* const action = std::find_if(irqActions.begin(), irqActions.end(), [&](const IrqAction& candidate) {
        return candidate.name == options.action;
    });
    if (action == irqActions.end()) {
        throw usageError("irq: '" + options.action + "' is not an action (type, enable, disable or raise)");
    }
    if (!options.word.empty() && options.action != "raise") {
        throw usageError("irq: the action " + options.action + " does not take a word (only raise does)");
    }
    const auto format = parseFormat(context.output(), options.format, "irq", interruptDirectives);
    std::visit([&](const auto& result) { printEvent(context.output(), format, result); },
               action->run(context, options));
}

/** Waits for interrupts until a time-out, or until the reader of standard output closes the stream. */
class InterruptWait {
public:
    InterruptWait(const CommandContext& context, const Target& target, const WaitOptions& options)
        : m_timeout(context.timeout()),
          m_output(context.output()),
          m_name(target.name()),
          m_count(parseCount("count", options.count)) {
        if (!options.each.empty()) {
            m_each = parseDuration("each", options.each);
        }
    }

    std::uint32_t count() const { return m_count; }

    /** Returns the interrupt word of the next interrupt. @throws Failure or OutputClosed. */
    std::uint32_t next(OpenDevice& device, int descriptor) {
        const Common::Deadline eachDeadline = m_each ? Common::Deadline(*m_each) : Common::Deadline();
        const Common::Deadline deadline = Common::Deadline::earlier(eachDeadline, m_timeout.deadline());
        for (;;) {
            const auto word = waitUntilReady(descriptor, deadline) ? device.receiveInterrupt(deadline) : std::nullopt;
            if (word) {
                ++m_received;
                return *word;
            }
            if (deadline.hasPassed()) {
                throw Failure(ExitStatus::TimedOut, m_name + ": " + timeoutMessage());
            }
            // Another process may have taken the interrupt, or the driver may always report readiness. Without the
            // pause, the loop would use all the time of a processor.
            waitUntilReady(noDescriptor, Common::Deadline::earlier(Common::Deadline(retryInterval), deadline));
        }
    }

private:
    static constexpr int noDescriptor = -1;
    static constexpr milliseconds retryInterval{10};

    /** Waits until the descriptor is ready. @return false if the deadline passes first. @throws OutputClosed. */
    bool waitUntilReady(int descriptor, const Common::Deadline& deadline) const {
        std::array<pollfd, 2> ready{{{descriptor, POLLIN, 0}, m_output.reader()}};
        int count = 0;
        do {
            count = ::poll(ready.data(), ready.size(), deadline.pollTimeout());
        } while (count == -1 && errno == EINTR);
        if (ready[0].revents == 0 && ready[1].revents != 0) {
            throw OutputClosed();
        }
        return count != 0;
    }

    std::string timeoutMessage() const {
        if (m_each && !m_timeout.deadline().hasPassed()) {
            return "no interrupt within " + describe(*m_each);
        }
        const std::string progress =
            "received " + std::to_string(m_received) + " of " + std::to_string(m_count) + " interrupts";
        return (m_received == 0 ? "no interrupt" : progress) + " within " + m_timeout.limitText();
    }

    const CommandTimeout m_timeout;
    const Output& m_output;
    const std::string m_name;
    const std::uint32_t m_count;
    std::optional<milliseconds> m_each;
    std::uint32_t m_received = 0;
};

void wait(const CommandContext& context, const WaitOptions& options) {
    const auto format = parseFormat(context.output(), options.format, "wait", interruptDirectives);
    const Target& target = targetWithInterrupts(context, options.name);
    InterruptWait waiting(context, target, options);
    const auto device = context.open(target);
    const int descriptor = device->prepareInterrupts();
    for (std::uint32_t i = 0; i < waiting.count(); ++i) {
        // A driver may disable the interrupt of the device when an interrupt arrives. If another interrupt is already
        // pending, next() receives that interrupt.
        device->enableInterrupts();
        const std::uint32_t word = waiting.next(*device, descriptor);
        printEvent(context.output(), format, InterruptEvent{target.name(), word, timeStamp()});
    }
}

void addIrq(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<IrqOptions>();
    const Common::Command command =
        addCommand(program, chosen, "irq",
                   "show the type of a device's interrupt, or enable, disable or raise the interrupt", options, irq);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument(oneOf(irqActionNames()), options->action, std::string("the action; ") + raiseNeedsSimulation);
    command.addOptionalArgument("WORD", options->word, "the interrupt word that the device reports (default: 1)");
    addFormatOption(command, options->format, interruptDirectives);
}

void addWait(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WaitOptions>();
    const Common::Command command =
        addCommand(program, chosen, "wait", "enable the interrupt of a device and wait for it", options, wait);
    command.addArgument("NAME", options->name, "the device");
    command.addOption("--each", "TIME", options->each, "give up if a single interrupt takes longer than TIME");
    command.addOption("--count", "COUNT", options->count, "the number of interrupts to wait for (default: 1)");
    addFormatOption(command, options->format, interruptDirectives);
}

} // namespace

void addInterruptCommands(const Common::Command& program, Action& chosen) {
    addIrq(program, chosen);
    addWait(program, chosen);
}

} // namespace Rynvelctl
