// SPDX-License-Identifier: MIT
#include <map>
#include <optional>

#include <poll.h>
#include <unistd.h>

#include "Commands.h"
#include "Completion.h"
#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterWord.h"

namespace Rynvelctl {

namespace {

/** Limits the memory that the registers of one command take. */
constexpr std::uint32_t maxRegisters = 1U << 20U;

constexpr const char* hostOrder = "host";
constexpr const char* networkOrder = "network";

struct RegisterOptions {
    std::string name;
    std::string address;
    bool usesIndex = false;

    AddressUnit unit() const { return usesIndex ? AddressUnit::Registers : AddressUnit::Bytes; }
};

struct WriteOptions : RegisterOptions {
    std::string value;
    std::string mask;
    bool verifies = false;
};

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

RegisterRange registerOf(const Target& target, const RegisterOptions& options) {
    return {target, options.unit(), options.address};
}

RegisterRange rangeOf(const Target& target, const RangeOptions& options) {
    return registerOf(target, options).resized(parseCount("count", options.count, maxRegisters));
}

void read(const CommandContext& context, const RegisterOptions& options) {
    const Target target = context.target(options.name);
    const RegisterRange range = registerOf(target, options);
    const auto device = openDevice(range, context.timeout());
    context.output().print(RegisterValue{range, device->read(range)});
}

void verify(OpenDevice& device, const WrittenValue& written) {
    const RegisterRange& range = written.range;
    const std::uint32_t found = device.read(range);
    const std::uint32_t mask = written.mask.value_or(UINT32_MAX);
    if ((found & mask) != (written.value & mask)) {
        const Target& target = range.device();
        const std::string masked = written.mask ? " with mask " + hexadecimal(mask, target.width()) : "";
        throw Failure(ExitStatus::Failed, target.name() + ": " + range.addressText() + " holds " +
                                              hexadecimal(found, target.width()) + " after " +
                                              hexadecimal(written.value, target.width()) + " was written" + masked);
    }
}

std::uint32_t parseMask(const std::string& text, unsigned int width) {
    const std::uint32_t mask = parseValue("mask", text, width);
    // To a server, a mask of 0 means that there is no mask.
    if (mask == 0) {
        throw usageError("mask " + text + " selects no bits");
    }
    return mask;
}

void write(const CommandContext& context, const WriteOptions& options) {
    const Target target = context.target(options.name);
    const RegisterRange range = registerOf(target, options);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    std::optional<std::uint32_t> mask;
    if (!options.mask.empty()) {
        mask = parseMask(options.mask, target.width());
    }
    const auto device = openDevice(range, context.timeout());
    if (mask) {
        device->write(range, value, *mask);
    } else {
        device->write(range, value);
    }
    const WrittenValue written{range, value & mask.value_or(UINT32_MAX), mask};
    if (options.verifies) {
        verify(*device, written);
    }
    context.output().print(written);
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
        throw usageError(target.name() + ": the library reports every burst of type " + target.type.name +
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
    const RegisterRange range = rangeOf(target, options);
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
    const RegisterRange range = rangeOf(target, options);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    const auto device = openDevice(range, context.timeout());
    for (std::uint32_t i = 0; i < range.count(); ++i) {
        device->write(range[i], value);
    }
    context.output().print(FilledRange{range, value});
}

/** Watched registers, with their values at the last sample. */
class Watch {
public:
    Watch(const CommandContext& context, std::vector<RegisterRange> ranges, OpenDevice& device)
        : m_context(context), m_ranges(std::move(ranges)), m_device(device) {}

    /** Reads the registers, and prints the values that have changed since the last sample. */
    void sample() {
        for (const RegisterRange& range : m_ranges) {
            const std::uint32_t value = m_device.read(range);
            const auto previous = m_values.find(range.index());
            if (previous == m_values.end() || previous->second != value) {
                m_values[range.index()] = value;
                m_context.output().print(RegisterChange{range, value, timeStamp()});
            }
        }
    }

private:
    const CommandContext& m_context;
    const std::vector<RegisterRange> m_ranges;
    OpenDevice& m_device;
    std::map<std::uint32_t, std::uint32_t> m_values;
};

std::vector<RegisterRange> registersOf(const Target& target, const WatchOptions& options) {
    std::vector<RegisterRange> ranges;
    ranges.reserve(options.addresses.size());
    for (const std::string& address : options.addresses) {
        ranges.emplace_back(target, options.unit(), address);
    }
    return ranges;
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
    const std::vector<RegisterRange> ranges = registersOf(target, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = openDevice(target, context.timeout());
    for (const RegisterRange& range : ranges) {
        range.requireInside(device->mapSize());
    }
    Watch watched(context, ranges, *device);
    watched.sample();
    for (std::uint32_t samples = 1; count == 0 || samples < count; ++samples) {
        waitUntil(Common::Deadline::earlier(Common::Deadline(interval), context.timeout().deadline()));
        context.timeout().requireTimeLeft(target.name());
        watched.sample();
    }
}

void addRegister(const Common::Command& command, RegisterOptions& options) {
    command.addArgument("NAME", options.name, "the device");
    command.addArgument("ADDRESS", options.address, "the byte address of the register");
}

void addRange(const Common::Command& command, RangeOptions& options) {
    addRegister(command, options);
    command.addArgument("COUNT", options.count, "the number of registers, at most 1048576");
}

void addIndexOption(const Common::Command& command, RegisterOptions& options) {
    command.addFlag("--index", options.usesIndex, "addresses are register indices instead of byte addresses");
}

void addRead(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<RegisterOptions>();
    const Common::Command command = addCommand(program, chosen, "read", "read a register", options, read);
    addRegister(command, *options);
    addIndexOption(command, *options);
}

void addWrite(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WriteOptions>();
    const Common::Command command = addCommand(program, chosen, "write", "write a register", options, write);
    addRegister(command, *options);
    command.addArgument("VALUE", options->value, "the value to write");
    command.addOption("--mask", "MASK", options->mask, "write only the bits that are set in the mask");
    command.addFlag("--verify", options->verifies, "read the register back, and fail if the written bits differ");
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
    const Common::Command command =
        addCommand(program, chosen, "watch", "show registers, and then their changes, until you interrupt the command",
                   options, watch);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->addresses, "the byte addresses of the registers");
    command.addOption("--interval", "TIME", options->interval, "the time from one sample to the next (default: 1s)");
    command.addOption("--count", "COUNT", options->count, "end after this number of samples (default: no end)");
    addIndexOption(command, *options);
}

} // namespace

void addRegisterCommands(const Common::Command& program, Action& chosen) {
    addRead(program, chosen);
    addWrite(program, chosen);
    addDump(program, chosen);
    addFill(program, chosen);
    addWatch(program, chosen);
}

} // namespace Rynvelctl
