// SPDX-License-Identifier: MIT
#include <map>
#include <optional>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "Addresses.h"
#include "Commands.h"
#include "Completion.h"
#include "Durations.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "RegisterWord.h"

namespace Rynvelctl {

namespace {

/** Limits the memory that the registers of one command take. */
constexpr std::uint32_t maxRegisters = 1U << 20U;

constexpr const char* hostOrder = "host";
constexpr const char* networkOrder = "network";

struct RangeOptions : RegisterOptions {
    std::string count;
};

struct DumpOptions : RangeOptions {
    bool usesBurst = false;
    std::string order = hostOrder;
};

struct FillOptions : RangeOptions {
    std::string value;
};

struct WatchOptions : RegisterOptions {
    std::vector<std::string> addresses;
    std::string interval = "1s";
    std::string count;
};

/** The consecutive registers on which a command operates. The user selects the first register by address or name. */
class NamedRange {
public:
    NamedRange(const CommandContext& context, const Target& target, const RangeOptions& options)
        : m_addresses(context, target, options.unit()), m_first(m_addresses.findWhole(options.address)) {}

    /** Returns the registers. @throws Failure if their number is wrong. */
    RegisterRange sized(const std::string& count) const {
        return m_first.range.resized(parseCount("count", count, maxRegisters));
    }

    /** @throws Failure if the user gave a name, and the register map says that a register cannot be read. */
    void requireReadable(const RegisterRange& range) const {
        check(range, [](const MappedRegister& whole) { Rynvelctl::requireReadable({whole, nullptr}); });
    }

    /** @throws Failure if the user gave a name, and the register map does not allow the value for each register. */
    void requireAllowed(const RegisterRange& range, std::uint32_t value) const {
        check(range, [this, value](const MappedRegister& whole) {
            m_addresses.registerMap()->requireAccessible(whole.located);
            Rynvelctl::requireAllowed(whole, {value, UINT32_MAX});
        });
        if (m_first.named) {
            m_addresses.registerMap()->requireNoParts(range);
        }
    }

private:
    template <typename Check>
    void check(const RegisterRange& range, const Check& check) const {
        if (m_first.named) {
            check(m_first.named->whole);
            m_addresses.registerMap()->checkAfterFirst(range, check);
        }
    }

    Addresses m_addresses;
    Addressed m_first;
};

void read(const CommandContext& context, const RegisterOptions& options) {
    const Target target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).find(options.address);
    requireReadable(addressed);
    const auto device = openDevice(addressed.range, context.timeout());
    const Reading reading = readingOf(addressed, device->read(addressed.range));
    std::visit([&context](const auto& read) { context.output().print(read); }, reading);
}

Rynvel::ByteOrder parseOrder(const std::string& text) {
    if (text != hostOrder && text != networkOrder) {
        throw usageError("--order: '" + text + "' is not a byte order (host or network)");
    }
    return text == networkOrder ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
}

/** @throws Failure if the library cannot read the registers in one burst. */
void requireBurst(const RegisterRange& range) {
    const Target& target = range.device();
    if (target.server && range.count() > Rynvel::recordCapacity) {
        throw usageError(target.name() + ": a burst of " + std::to_string(range.count()) +
                         " registers is too long (a server accepts at most " + std::to_string(Rynvel::recordCapacity) +
                         ")");
    }
    if (target.type.access == Common::Access::Seekable && target.width() != 8) {
        throw usageError(target.name() + ": the library reports every burst from a device of type " + target.type.name +
                         " as failed (leave out --burst)");
    }
}

bool readsOneBurst(const RegisterRange& range, const DumpOptions& options) {
    // A server treats a burst of one register as a single read, which has no byte order.
    return options.usesBurst && !(range.device().server && range.count() == 1);
}

/** The values that were read before a failure, and the failure if there is one. */
struct ReadResult {
    std::vector<std::uint32_t> values;
    std::optional<Failure> failure;
};

ReadResult readOneByOne(OpenDevice& device, const RegisterRange& range, Rynvel::ByteOrder order) {
    ReadResult result;
    try {
        for (std::uint32_t i = 0; i < range.count(); ++i) {
            result.values.push_back(Common::inByteOrder(device.read(range[i]), range.device().width(), order));
        }
    } catch (const Failure& failure) {
        result.failure = failure;
    }
    return result;
}

void dump(const CommandContext& context, const DumpOptions& options) {
    const Target target = context.target(options.name);
    const NamedRange named(context, target, options);
    const RegisterRange range = named.sized(options.count);
    named.requireReadable(range);
    const Rynvel::ByteOrder order = parseOrder(options.order);
    if (options.usesBurst) {
        requireBurst(range);
    }
    const auto device = openDevice(range, context.timeout());
    const ReadResult result = readsOneBurst(range, options) ? ReadResult{device->readBurst(range, order), std::nullopt}
                                                            : readOneByOne(*device, range, order);
    if (!result.values.empty()) {
        context.output().print(RegisterDump{range, result.values, order});
    }
    if (result.failure) {
        throw Failure(*result.failure);
    }
}

void fill(const CommandContext& context, const FillOptions& options) {
    const Target target = context.target(options.name);
    const NamedRange named(context, target, options);
    const RegisterRange range = named.sized(options.count);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    named.requireAllowed(range, value);
    const auto device = openDevice(range, context.timeout());
    for (std::uint32_t i = 0; i < range.count(); ++i) {
        device->write(range[i], value);
    }
    context.output().print(FilledRange{range, value});
}

/** Watched registers and fields, with their values at the last sample. */
class Watch {
public:
    Watch(const CommandContext& context, std::vector<Addressed> watched, OpenDevice& device)
        : m_context(context), m_watched(std::move(watched)), m_device(device), m_previous(m_watched.size()) {}

    /** Reads each register once, and prints the values that have changed since the last sample. */
    void sample() {
        std::map<std::uint32_t, std::uint32_t> values;
        for (std::size_t i = 0; i < m_watched.size(); ++i) {
            const Addressed& each = m_watched[i];
            const auto known = values.find(each.range.index());
            const std::uint32_t value = known == values.end() ? m_device.read(each.range) : known->second;
            values[each.range.index()] = value;
            printIfNew(readingOf(each, value), m_previous[i]);
        }
    }

private:
    static std::uint64_t numberIn(const Reading& reading) {
        const auto* const field = std::get_if<FieldReading>(&reading);
        return field == nullptr ? std::get<RegisterValue>(reading).value : field->field.value;
    }

    void printIfNew(const Reading& reading, std::optional<std::uint64_t>& previous) {
        if (previous != numberIn(reading)) {
            previous = numberIn(reading);
            m_context.output().print(RegisterChange{reading, timeStamp()});
        }
    }

    const CommandContext& m_context;
    const std::vector<Addressed> m_watched;
    OpenDevice& m_device;
    /** One value for each watched register or field; none before the first sample. */
    std::vector<std::optional<std::uint64_t>> m_previous;
};

std::vector<Addressed> watchedBy(const CommandContext& context, const Target& target, const WatchOptions& options) {
    Addresses addresses(context, target, options.unit());
    std::vector<Addressed> watched;
    watched.reserve(options.addresses.size());
    for (const std::string& address : options.addresses) {
        watched.push_back(addresses.find(address));
        requireReadable(watched.back());
    }
    return watched;
}

/** Waits until the deadline. @throws OutputClosed if the reader of standard output closes the stream. */
void waitUntil(const Common::Deadline& deadline) {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, deadline.pollTimeout()) > 0) {
        throw OutputClosed();
    }
}

void watch(const CommandContext& context, const WatchOptions& options) {
    const Target target = context.target(options.name);
    const std::vector<Addressed> addressed = watchedBy(context, target, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = openDevice(target, context.timeout());
    for (const Addressed& each : addressed) {
        each.range.requireInside(device->mapSize());
    }
    Watch watched(context, addressed, *device);
    watched.sample();
    for (std::uint32_t samples = 1; count == 0 || samples < count; ++samples) {
        waitUntil(Common::Deadline::earlier(Common::Deadline(interval), context.timeout().deadline()));
        context.timeout().requireTimeLeft(target.name());
        watched.sample();
    }
}

void addRange(const Common::Command& command, RangeOptions& options) {
    addRegister(command, options, "the byte address or the name of the first register");
    command.addArgument("COUNT", options.count, "the number of registers, at most 1048576");
}

void addRead(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<RegisterOptions>();
    const Common::Command command = addCommand(program, chosen, "read", "read a register or a field", options, read);
    addRegister(command, *options);
    addIndexOption(command, *options);
}

void addDump(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    const Common::Command command =
        addCommand(program, chosen, "dump", "show consecutive registers in hexadecimal", options, dump);
    addRange(command, *options);
    command.addFlag("--burst", options->usesBurst, "read the registers in one burst instead of one by one");
    command.addOption("--order", oneOf({hostOrder, networkOrder}), options->order,
                      "the byte order of each value (default: host)");
    addIndexOption(command, *options);
}

void addFill(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<FillOptions>();
    const Common::Command command =
        addCommand(program, chosen, "fill", "write one value to consecutive registers", options, fill);
    addRange(command, *options);
    command.addArgument("VALUE", options->value, "the value to write to each register");
    addIndexOption(command, *options);
}

void addWatch(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WatchOptions>();
    const Common::Command command = addCommand(
        program, chosen, "watch", "show registers and fields, and then their changes, until you interrupt the command",
        options, watch);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->addresses,
                        "the byte addresses of the registers, or names of registers and fields");
    command.addOption("--interval", "TIME", options->interval, "the time from one sample to the next (default: 1s)");
    command.addOption("--count", "COUNT", options->count, "end after this number of samples (default: no end)");
    addIndexOption(command, *options);
}

} // namespace

void addRegisterCommands(const Common::Command& program, Action& chosen) {
    addRead(program, chosen);
    addWriteCommand(program, chosen);
    addDump(program, chosen);
    addFill(program, chosen);
    addWatch(program, chosen);
    addShowCommand(program, chosen);
}

} // namespace Rynvelctl
