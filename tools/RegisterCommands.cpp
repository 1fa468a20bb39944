// SPDX-License-Identifier: MIT
#include <optional>
#include <utility>

#include "Addresses.h"
#include "Commands.h"
#include "Completion.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "RegisterWord.h"

namespace Rynvelctl {

namespace {

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

struct ReadOptions : RegisterOptions {
    std::vector<std::string> addresses;
};

/** The registers of a command, the first of which the user gave. */
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

void print(const CommandContext& context, const Reading& reading) {
    std::visit([&context](const auto& read) { context.output().print(read); }, reading);
}

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
            print(context, readingOf(single, device->read(single.range)));
        }
    }
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
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options);
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
        context.output().print(RegisterDump{range, result.values, order});
    }
    if (result.failure) {
        throw Failure(*result.failure);
    }
}

void fill(const CommandContext& context, const FillOptions& options) {
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options);
    const RegisterRange range = named.sized(options.count);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    named.requireAllowed(range, value);
    const auto device = context.open(range);
    for (std::uint32_t i = 0; i < range.count(); ++i) {
        device->write(range[i], value);
    }
    context.output().print(FilledRange{range, value});
}

void addRange(const Common::Command& command, RangeOptions& options) {
    addRegister(command, options, "the byte address or the name of the first register");
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

} // namespace

void addRegisterCommands(const Common::Command& program, Action& chosen) {
    addRead(program, chosen);
    addWriteCommand(program, chosen);
    addBitCommands(program, chosen);
    addDump(program, chosen);
    addFill(program, chosen);
    addPollCommand(program, chosen);
    addWatchCommand(program, chosen);
    addShowCommand(program, chosen);
}

} // namespace Rynvelctl
