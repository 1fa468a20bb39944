#include "Commands.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Completion.h"
#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "ServedDevice.h"

namespace Rynvelctl {

namespace {

using std::chrono::milliseconds;

struct IrqOptions {
    std::string name;
    std::string action;
    std::string word;
};

struct WaitOptions {
    std::string name;
    std::string each;
    std::string count = "1";
};

Target interruptingTarget(const Session& session, const std::string& name) {
    Target target = session.target(name);
    if (!target.kind.hasInterrupts) {
        throw wrongUsage(name + ": a device of type " + target.kind.name + " has no interrupts");
    }
    return target;
}

void showType(const Session& session, const IrqOptions& options) {
    const Target target = interruptingTarget(session, options.name);
    const auto type = openDevice(target, session.time())->interruptType();
    if (!type) {
        throw Failure(ExitStatus::Failed, target.name() + ": the server knows no interrupts of it");
    }
    session.output().print(InterruptType{target.name(), *type});
}

void enable(const Session& session, const IrqOptions& options) {
    const Target target = interruptingTarget(session, options.name);
    openDevice(target, session.time())->enableInterrupts();
    session.output().print(InterruptState{target.name(), "enabled"});
}

void disable(const Session& session, const IrqOptions& options) {
    const Target target = interruptingTarget(session, options.name);
    openDevice(target, session.time())->disableInterrupts();
    session.output().print(InterruptState{target.name(), "disabled"});
}

void raise(const Session& session, const IrqOptions& options) {
    const Target target = interruptingTarget(session, options.name);
    if (!target.server) {
        throw wrongUsage("irq raise needs a remote device");
    }
    const std::uint32_t word = options.word.empty() ? 1 : parseNumber("word", options.word);
    ServedDevice(target).raiseInterrupt(word);
    session.output().print(InterruptState{target.name(), "raised"});
}

struct IrqAction {
    const char* name;
    void (*run)(const Session& session, const IrqOptions& options);
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

void irq(const Session& session, const IrqOptions& options) {
    const auto* const action = std::find_if(irqActions.begin(), irqActions.end(),
                                            [&](const IrqAction& known) { return known.name == options.action; });
    if (action == irqActions.end()) {
        throw wrongUsage("irq '" + options.action + "' is none of type, enable, disable and raise");
    }
    if (!options.word.empty() && options.action != "raise") {
        throw wrongUsage("irq " + options.action + " takes no word");
    }
    action->run(session, options);
}

/** Waits for interrupts until it takes too long, or until nobody reads standard output any more. */
class InterruptWait {
public:
    InterruptWait(const Session& session, const Target& target, const WaitOptions& options)
        : m_time(session.time()), m_name(target.name()), m_count(parseCount("count", options.count)) {
        if (!options.each.empty()) {
            m_each = parseDuration("each", options.each);
        }
    }

    std::uint32_t count() const { return m_count; }

    /** @return the word of the next interrupt. @throws Failure or OutputClosed */
    std::uint32_t next(OpenDevice& device, int descriptor) {
        const Common::Deadline ownDeadline = m_each ? Common::Deadline(*m_each) : Common::Deadline();
        const Common::Deadline deadline = Common::Deadline::earlier(ownDeadline, m_time.deadline());
        for (;;) {
            const auto word = isReady(descriptor, deadline) ? device.receiveInterrupt(deadline) : std::nullopt;
            if (word) {
                ++m_received;
                return *word;
            }
            if (deadline.hasPassed()) {
                throw Failure(ExitStatus::TimedOut, m_name + ": " + complaint());
            }
            // Somebody else has taken what was ready, or the driver calls itself ready at any time.
            isReady(nothing, Common::Deadline::earlier(Common::Deadline(pauseTime), deadline));
        }
    }

private:
    static constexpr int nothing = -1;
    static constexpr milliseconds pauseTime{10};

    /** False when the deadline is over. @throws OutputClosed */
    static bool isReady(int descriptor, const Common::Deadline& deadline) {
        std::array<pollfd, 2> ready{{{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        int count = 0;
        do {
            count = ::poll(ready.data(), ready.size(), deadline.pollTimeout());
        } while (count == -1 && errno == EINTR);
        if (ready[0].revents == 0 && ready[1].revents != 0) {
            throw OutputClosed();
        }
        return count != 0;
    }

    std::string complaint() const {
        if (m_each && !m_time.deadline().hasPassed()) {
            return "no interrupt within " + describe(*m_each);
        }
        const std::string progress = std::to_string(m_received) + " of " + std::to_string(m_count) + " interrupts";
        return (m_received == 0 ? "no interrupt" : progress) + " within " + m_time.limit();
    }

    const CommandTime m_time;
    const std::string m_name;
    const std::uint32_t m_count;
    std::optional<milliseconds> m_each;
    std::uint32_t m_received = 0;
};

void wait(const Session& session, const WaitOptions& options) {
    const Target target = interruptingTarget(session, options.name);
    InterruptWait waiting(session, target, options);
    const auto device = openDevice(target, session.time());
    const int descriptor = device->expectInterrupts();
    for (std::uint32_t i = 0; i < waiting.count(); ++i) {
        // One that came since the last receipt has disabled the interrupt and is received with the next.
        device->enableInterrupts();
        session.output().print(InterruptEvent{target.name(), waiting.next(*device, descriptor), timeStamp()});
    }
}

void addIrq(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<IrqOptions>();
    const Common::Command command =
        addCommand(program, chosen, "irq", "show or control the interrupt of a device", options, irq);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument(oneOf(irqActionNames()), options->action,
                        "what to do; raise is for servers that simulate their devices");
    command.addOptionalArgument("WORD", options->word, "what a raised interrupt reports, 1 when not given");
}

void addWait(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WaitOptions>();
    const Common::Command command =
        addCommand(program, chosen, "wait", "enable the interrupt of a device and wait for it", options, wait);
    command.addArgument("NAME", options->name, "the device");
    command.addOption("--each", "TIME", options->each, "give up when a single interrupt takes longer");
    command.addOption("--count", "COUNT", options->count, "wait for so many interrupts, 1 when not given");
}

} // namespace

void addInterruptCommands(const Common::Command& program, Action& chosen) {
    addIrq(program, chosen);
    addWait(program, chosen);
}

} // namespace Rynvelctl
