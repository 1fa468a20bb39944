#include "Commands.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>

#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "Views.h"

namespace Rynvelctl {

namespace {

using std::chrono::milliseconds;

struct IrqOptions {
    std::string name;
    std::string deed;
    std::string word;
};

struct WaitOptions {
    std::string name;
    std::string timeout;
    std::string count = "1";
};

Subject interruptingSubject(const Session& session, const std::string& name) {
    Subject subject = session.subject(name);
    if (!subject.kind.hasInterrupts) {
        throw wrongUsage(name + ": a device of type " + subject.kind.name + " has no interrupts");
    }
    return subject;
}

void showType(const Session& session, const IrqOptions& options) {
    const Subject subject = interruptingSubject(session, options.name);
    const auto type = OpenDevice(subject).interruptType();
    if (!type) {
        throw Failure(ExitStatus::Failed, subject.name() + ": the server knows no interrupts of it");
    }
    session.output().print(interruptType(subject, *type));
}

void enable(const Session& session, const IrqOptions& options) {
    const Subject subject = interruptingSubject(session, options.name);
    OpenDevice(subject).enableInterrupts();
    session.output().print(interruptState(subject, "enabled"));
}

void disable(const Session& session, const IrqOptions& options) {
    const Subject subject = interruptingSubject(session, options.name);
    OpenDevice(subject).disableInterrupts();
    session.output().print(interruptState(subject, "disabled"));
}

void raise(const Session& session, const IrqOptions& options) {
    const Server& server = session.server("irq raise");
    const Subject subject = interruptingSubject(session, options.name);
    Rynvel::Request request(Rynvel::RequestData::Type::Debug, subject.name());
    request.addValue(options.word.empty() ? 1 : parseNumber("word", options.word));
    const ServerConnection connection = server.connect();
    connection.open(subject.name());
    if (!connection.exchange(request).isSuccessful()) {
        throw Failure(ExitStatus::Failed, subject.name() + ": the server raises no interrupt of it");
    }
    session.output().print(interruptState(subject, "raised"));
}

void irq(const Session& session, const IrqOptions& options) {
    static const std::map<std::string, void (*)(const Session&, const IrqOptions&)> deeds{
        {"type", showType}, {"enable", enable}, {"disable", disable}, {"raise", raise}};
    const auto deed = deeds.find(options.deed);
    if (deed == deeds.end()) {
        throw wrongUsage("irq '" + options.deed + "' is none of type, enable, disable and raise");
    }
    if (!options.word.empty() && options.deed != "raise") {
        throw wrongUsage("irq " + options.deed + " takes no word");
    }
    deed->second(session, options);
}

/** How long one interrupt may take. */
class Patience {
public:
    Patience(const Subject& subject, const std::string& timeout) : m_name(subject.name()) {
        if (!timeout.empty()) {
            m_time = parseDuration("timeout", timeout);
        }
    }

    /**
     * Returns when the descriptor is ready.
     * @throws Failure when that takes too long, OutputClosed when nobody reads standard output any more.
     */
    void poll(int descriptor) const {
        std::array<pollfd, 2> ready{{{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        if (::poll(ready.data(), ready.size(), m_time ? static_cast<int>(m_time->count()) : -1) == 0) {
            throw Failure(ExitStatus::TimedOut, text());
        }
        if (ready[0].revents == 0 && ready[1].revents != 0) {
            throw OutputClosed();
        }
    }

    /** What was ready may have been taken by somebody else: the call then ends with the process. */
    template <typename Call>
    auto limit(const Call& call) const {
        if (!m_time) {
            return call();
        }
        const TimeLimit limit(std::max(*m_time, milliseconds(1)), text());
        return call();
    }

private:
    std::string text() const { return m_name + ": no interrupt within " + describe(*m_time); }

    std::string m_name;
    std::optional<milliseconds> m_time;
};

void wait(const Session& session, const WaitOptions& options) {
    const Subject subject = interruptingSubject(session, options.name);
    const Patience patience(subject, options.timeout);
    const std::uint32_t count = parseCount("count", options.count);
    OpenDevice device(subject);
    const auto descriptor = device.descriptor();
    if (!descriptor) {
        throw Failure(ExitStatus::Failed, subject.name() + ": the server reports no interrupts of it");
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        // One that came since the last receipt has disabled the interrupt and is received with the next.
        device.enableInterrupts();
        patience.poll(*descriptor);
        const std::uint32_t word = patience.limit([&] { return device.receiveInterrupt(); });
        session.output().print(interrupt(subject, word, timeStamp()));
    }
}

void addIrq(const Inventory::Command& program, Action& chosen) {
    const auto options = std::make_shared<IrqOptions>();
    const Inventory::Command command =
        addCommand(program, chosen, "irq", "show or control the interrupt of a device", options, irq);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("DEED", options->deed,
                        "type, enable, disable or raise; raise is for servers that simulate their devices");
    command.addOptionalArgument("WORD", options->word, "what a raised interrupt reports, 1 when not given");
}

void addWait(const Inventory::Command& program, Action& chosen) {
    const auto options = std::make_shared<WaitOptions>();
    const Inventory::Command command =
        addCommand(program, chosen, "wait", "enable the interrupt of a device and wait for it", options, wait);
    command.addArgument("NAME", options->name, "the device");
    command.addOption("--timeout", "TIME", options->timeout, "give up when one interrupt takes longer");
    command.addOption("--count", "COUNT", options->count, "wait for so many interrupts, 1 when not given");
}

} // namespace

void addInterruptCommands(const Inventory::Command& program, Action& chosen) {
    addIrq(program, chosen);
    addWait(program, chosen);
}

} // namespace Rynvelctl
