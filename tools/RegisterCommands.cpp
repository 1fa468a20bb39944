// SPDX-License-Identifier: MIT
#include <cerrno>
#include <optional>
#include <utility>

#include <unistd.h>

#include "Addresses.h"
#include "Commands.h"
#include "NamedRange.h"
#include "NumberArguments.h"
#include "OpenDevice.h"
#include "ProgressBar.h"
#include "RangeWrite.h"
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

struct ReadOptions : DeviceOptions {
    std::vector<std::string> addresses;
};

void read(const CommandContext& context, const ReadOptions& options) {
    const Target& target = context.target(options.name);
    Addresses addresses(context, target, options.unit());
    const std::vector<Addressed> addressed =
        readableBy(options.addresses, [&addresses](const std::string& text) { return addresses.findRange(text); });
    const auto device = context.open(target);
    for (const Addressed& each : addressed) {
        each.range.requireInside(device->mapSize());
    }
    for (const Addressed& each : addressed) {
        for (std::uint32_t i = 0; i < each.range.count(); ++i) {
            const Addressed single = each.range.count() == 1 ? each : Addressed{each.range[i], std::nullopt};
            context.output().print(readingOf(single, device->read(single.range)));
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
    if (target.type.access == Common::AccessMethod::Seekable && target.width() != 8) {
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

/** @throws Failure if standard output is not suitable for the bytes of registers. */
void requireRawOutput(const Output& output) {
    if (output.format() != Format::Text) {
        throw usageError("--raw: --json and --quiet do not apply to raw bytes (leave them out)");
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

/**
 * Prints the values that were read before a failure.
 *
 * @throws Failure for the failed read, even if the output also fails.
 */
void printRead(const Output& output, const RegisterDump& dump, const std::optional<Failure>& failure, bool isRaw) {
    // A reader of raw bytes could not notice that some bytes are missing.
    const bool isPrinted = !dump.values.empty() && !(failure && isRaw);
    try {
        if (isPrinted) {
            print(output, dump, isRaw);
        }
    } catch (...) {
        if (!failure) {
            throw;
        }
    }
    if (failure) {
        throw Failure(*failure);
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
    const RegisterDump dump{range, result.values, order};
    printRead(context.output(), dump, result.failure, options.isRaw);
}

void fill(const CommandContext& context, const FillOptions& options) {
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options.address, options.unit());
    const RegisterRange range = named.sized(options.count);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    const auto valueAt = [value](std::uint32_t /*position*/) { return value; };
    named.requireAllowed(range, valueAt);
    writeRange(*context.open(range), range, valueAt, [&] { context.output().print(FilledRange{range, value}); });
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
                        "the byte addresses of registers, names of registers and fields, ranges FIRST..LAST, or bits "
                        "ADDRESS[7:4]");
    addIndexOption(command, *options);
}

void addDump(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    const Common::Command command = addCommand(program, chosen, "dump", "show consecutive registers", options, dump);
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

} // namespace

void addRegisterCommands(const Common::Command& program, Action& chosen) {
    addRead(program, chosen);
    addWriteCommand(program, chosen);
    addBitCommands(program, chosen);
    addDump(program, chosen);
    addFill(program, chosen);
    addLoadCommand(program, chosen);
    addPollCommand(program, chosen);
    addWatchCommand(program, chosen);
    addShowCommand(program, chosen);
}

} // namespace Rynvelctl
