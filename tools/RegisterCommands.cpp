// SPDX-License-Identifier: MIT
#include <cerrno>
#include <map>
#include <optional>
#include <utility>

#include <unistd.h>

#include "Addresses.h"
#include "Commands.h"
#include "Durations.h"
#include "NamedRange.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "ProgressBar.h"
#include "RawBytes.h"
#include "RegisterOptions.h"
#include "RegisterWord.h"
#include "StandardDescriptors.h"

namespace Rynvelctl {

namespace {

struct RangeOptions : RegisterOptions {
    std::string count;
};

struct DumpOptions : RangeOptions {
    bool usesBurst = false;
    bool isRaw = false;
    std::string order = hostOrder;
};

struct FillOptions : RangeOptions {
    std::string value;
};

struct ReadOptions : RegisterOptions {
    std::vector<std::string> addresses;
};

struct WatchOptions : ReadOptions {
    std::string interval = "1s";
    std::string count;
};

/** Returns the registers, fields and bits to read. @throws Failure also if one of them cannot be read. */
template <typename Find>
std::vector<Addressed> readableBy(const ReadOptions& options, const Find& find) {
    std::vector<Addressed> found;
    found.reserve(options.addresses.size());
    for (const std::string& address : options.addresses) {
        found.push_back(find(address));
        requireReadable(found.back());
    }
    return found;
}

void print(const CommandContext& context, const Reading& reading) {
    std::visit([&context](const auto& read) { context.output().print(read); }, reading);
}

void read(const CommandContext& context, const ReadOptions& options) {
    const Target& target = context.target(options.name);
    Addresses addresses(context, target, options.unit());
    const std::vector<Addressed> addressed =
        readableBy(options, [&addresses](const std::string& text) { return addresses.findRange(text); });
    const auto device = context.open(target);
    for (const Addressed& each : addressed) {
        each.range.requireInside(device->mapSize());
    }
    for (const Addressed& each : addressed) {
        for (std::uint32_t i = 0; i < each.range.count(); ++i) {
            const Addressed single = each.range.count() == 1 ? each : Addressed{each.range[i], std::nullopt};
            print(context, readingOf(single, device->read(single.range)));
        }
    }
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
    ProgressBar bar(range.device().name(), range.count());
    try {
        for (std::uint32_t i = 0; i < range.count(); ++i) {
            result.values.push_back(Common::inByteOrder(device.read(range[i]), range.device().width(), order));
            bar.advance();
        }
    } catch (const Failure& failure) {
        result.failure = failure;
    }
    return result;
}

/** @throws Failure if nobody can use the bytes of the registers. */
void requireRawOutput(const Output& output) {
    if (output.format() != Format::Text) {
        throw usageError("--raw: the bytes have no other format (leave out --json and --quiet)");
    }
    if (!isStandardOutputOpen()) {
        throw outputFailure(EBADF);
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        throw usageError("--raw: standard output is a terminal (redirect it to a file or a pipe)");
    }
}

void print(const Output& output, const RegisterDump& dump, bool isRaw) {
    if (isRaw) {
        output.write(bytesOf(dump.values, dump.range.device().width()));
    } else {
        output.print(dump);
    }
}

void dump(const CommandContext& context, const DumpOptions& options) {
    if (options.isRaw) {
        requireRawOutput(context.output());
    }
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options.address, options.unit());
    const RegisterRange range = named.sized(options.count);
    named.requireReadable(range);
    const Rynvel::ByteOrder order = parseOrder(options.order);
    if (options.usesBurst) {
        requireBurst(range);
    }
    const auto device = context.open(range);
    const ReadResult result = readsOneBurst(range, options) ? ReadResult{device->readBurst(range, order), std::nullopt}
                                                            : readOneByOne(*device, range, order);
    if (!result.values.empty()) {
        print(context.output(), RegisterDump{range, result.values, order}, options.isRaw);
    }
    if (result.failure) {
        throw Failure(*result.failure);
    }
}

void fill(const CommandContext& context, const FillOptions& options) {
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options.address, options.unit());
    const RegisterRange range = named.sized(options.count);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    named.requireAllowed(range, [value](std::uint32_t /*position*/) { return value; });
    const auto device = context.open(range);
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
    return readableBy(options, [&addresses](const std::string& text) { return addresses.findPart(text); });
}

void watch(const CommandContext& context, const WatchOptions& options) {
    const Target& target = context.target(options.name);
    const std::vector<Addressed> addressed = watchedBy(context, target, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = context.open(target);
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
    addFirstRegister(command, options);
    command.addArgument("COUNT", options.count, "the number of registers, at most 1048576");
}

void addRead(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<ReadOptions>();
    const Common::Command command =
        addCommand(program, chosen, "read", "read registers and fields, in the order given", options, read);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->addresses,
                        "the byte addresses of registers, names of registers and fields, or ranges FIRST..LAST");
    addIndexOption(command, *options);
}

void addDump(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    const Common::Command command =
        addCommand(program, chosen, "dump", "show consecutive registers in hexadecimal", options, dump);
    addRange(command, *options);
    command.addFlag("--burst", options->usesBurst, "read the registers in one burst instead of one by one");
    addOrderOption(command, options->order);
    command.addFlag("--raw", options->isRaw, "write the bytes of the registers to standard output");
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
    addBitCommands(program, chosen);
    addDump(program, chosen);
    addFill(program, chosen);
    addLoadCommand(program, chosen);
    addPollCommand(program, chosen);
    addWatch(program, chosen);
    addShowCommand(program, chosen);
}

} // namespace Rynvelctl
