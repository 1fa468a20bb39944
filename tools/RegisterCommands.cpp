#include "Commands.h"

#include <poll.h>
#include <unistd.h>

#include <map>
#include <optional>

#include "Completion.h"
#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterWord.h"

namespace Rynvelctl {

namespace {

/** What is held in memory of one command's registers stays within bounds. */
constexpr std::uint32_t mostRegisters = 1U << 20U;

constexpr const char* hostOrder = "host";
constexpr const char* networkOrder = "network";

struct RegisterOptions {
    std::string name;
    std::string address;
    bool countsRegisters = false;

    AddressUnit unit() const { return countsRegisters ? AddressUnit::Registers : AddressUnit::Bytes; }
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
    bool inOneBurst = false;
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
    return registerOf(target, options).resized(parseCount("count", options.count, mostRegisters));
}

void read(const Session& session, const RegisterOptions& options) {
    const Target target = session.target(options.name);
    const RegisterRange range = registerOf(target, options);
    const auto device = openDevice(range, session.time());
    session.output().print(RegisterValue{range, device->read(range)});
}

void verify(OpenDevice& device, const WrittenValue& written) {
    const RegisterRange& range = written.range;
    const std::uint32_t found = device.read(range);
    const std::uint32_t mask = written.mask.value_or(UINT32_MAX);
    if ((found & mask) != (written.value & mask)) {
        const Target& target = range.device();
        const std::string masked = written.mask ? " under the mask " + hexadecimal(mask, target.width()) : "";
        throw Failure(ExitStatus::Failed, target.name() + ": " + range.addressText() + " reads " +
                                              hexadecimal(found, target.width()) + " after " +
                                              hexadecimal(written.value, target.width()) + " was written" + masked);
    }
}

/** A server takes a mask of 0 for none. */
std::uint32_t parseMask(const std::string& text, unsigned int width) {
    const std::uint32_t mask = parseValue("mask", text, width);
    if (mask == 0) {
        throw wrongUsage("mask '" + text + "' lets nothing be written");
    }
    return mask;
}

void write(const Session& session, const WriteOptions& options) {
    const Target target = session.target(options.name);
    const RegisterRange range = registerOf(target, options);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    std::optional<std::uint32_t> mask;
    if (!options.mask.empty()) {
        mask = parseMask(options.mask, target.width());
    }
    const auto device = openDevice(range, session.time());
    if (mask) {
        device->write(range, value, *mask);
    } else {
        device->write(range, value);
    }
    const WrittenValue written{range, value & mask.value_or(UINT32_MAX), mask};
    if (options.verifies) {
        verify(*device, written);
    }
    session.output().print(written);
}

Rynvel::ByteOrder parseOrder(const std::string& text) {
    if (text != hostOrder && text != networkOrder) {
        throw wrongUsage("order '" + text + "' is none of host and network");
    }
    return text == networkOrder ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
}

/** @throws Failure when the library cannot read the registers in one burst. */
void requireBurst(const RegisterRange& range) {
    const Target& target = range.device();
    if (target.server && range.count() > Rynvel::recordCapacity) {
        throw wrongUsage("count " + std::to_string(range.count()) + " is above the " +
                         std::to_string(Rynvel::recordCapacity) + " registers of a server's burst");
    }
    if (target.kind.access == Common::Access::Seekable && target.width() != 8) {
        throw wrongUsage(target.name() + ": the library reports every burst of a " + target.kind.name +
                         " device as failed");
    }
}

/** To a server a burst of one register is a single read, which has no byte order. */
bool readsInOneBurst(const RegisterRange& range, const DumpOptions& options) {
    return options.inOneBurst && !(range.device().server && range.count() == 1);
}

/** What was read before a failure, if there was one, counts. */
struct Reading {
    std::vector<std::uint32_t> values;
    std::optional<Failure> failure;
};

Reading readSingly(OpenDevice& device, const RegisterRange& range, Rynvel::ByteOrder order) {
    Reading reading;
    try {
        for (std::uint32_t i = 0; i < range.count(); ++i) {
            reading.values.push_back(Common::inByteOrder(device.read(range[i]), range.device().width(), order));
        }
    } catch (const Failure& failure) {
        reading.failure = failure;
    }
    return reading;
}

void dump(const Session& session, const DumpOptions& options) {
    const Target target = session.target(options.name);
    const RegisterRange range = rangeOf(target, options);
    const Rynvel::ByteOrder order = parseOrder(options.order);
    if (options.inOneBurst) {
        requireBurst(range);
    }
    const auto device = openDevice(range, session.time());
    const Reading reading = readsInOneBurst(range, options) ? Reading{device->readBurst(range, order), std::nullopt}
                                                            : readSingly(*device, range, order);
    if (!reading.values.empty()) {
        session.output().print(RegisterDump{range, reading.values, order});
    }
    if (reading.failure) {
        throw Failure(*reading.failure);
    }
}

void fill(const Session& session, const FillOptions& options) {
    const Target target = session.target(options.name);
    const RegisterRange range = rangeOf(target, options);
    const std::uint32_t value = parseValue("value", options.value, target.width());
    const auto device = openDevice(range, session.time());
    for (std::uint32_t i = 0; i < range.count(); ++i) {
        device->write(range[i], value);
    }
    session.output().print(FilledRange{range, value});
}

/** The registers that are watched, with what they were when they were last read. */
class Watch {
public:
    Watch(const Session& session, std::vector<RegisterRange> ranges, OpenDevice& device)
        : m_session(session), m_ranges(std::move(ranges)), m_device(device) {}

    void look() {
        for (const RegisterRange& range : m_ranges) {
            const std::uint32_t value = m_device.read(range);
            const auto known = m_values.find(range.index());
            if (known == m_values.end() || known->second != value) {
                m_values[range.index()] = value;
                m_session.output().print(RegisterChange{range, value, timeStamp()});
            }
        }
    }

private:
    const Session& m_session;
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

/** Lets the time pass, or notices that nobody reads standard output any more. */
void pause(const Common::Deadline& end) {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, end.pollTimeout()) > 0) {
        throw OutputClosed();
    }
}

void watch(const Session& session, const WatchOptions& options) {
    const Target target = session.target(options.name);
    const std::vector<RegisterRange> ranges = registersOf(target, options);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = openDevice(target, session.time());
    for (const RegisterRange& range : ranges) {
        range.requireInside(device->mapSize());
    }
    Watch watched(session, ranges, *device);
    watched.look();
    for (std::uint32_t looks = 1; count == 0 || looks < count; ++looks) {
        pause(Common::Deadline::earlier(Common::Deadline(interval), session.time().deadline()));
        session.time().require(target.name());
        watched.look();
    }
}

void addRegister(const Common::Command& command, RegisterOptions& options) {
    command.addArgument("NAME", options.name, "the device");
    command.addArgument("ADDRESS", options.address, "the register's byte address");
}

void addRange(const Common::Command& command, RangeOptions& options) {
    addRegister(command, options);
    command.addArgument("COUNT", options.count, "the number of registers, up to 1048576");
}

void addIndexOption(const Common::Command& command, RegisterOptions& options) {
    command.addFlag("--index", options.countsRegisters, "addresses are indices of registers instead of bytes");
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
    command.addArgument("VALUE", options->value, "what is written");
    command.addOption("--mask", "MASK", options->mask, "write only the bits that are set in the mask");
    command.addFlag("--verify", options->verifies, "read the register back, and fail when it differs");
    addIndexOption(command, *options);
}

void addDump(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    const Common::Command command =
        addCommand(program, chosen, "dump", "show registers in a row, in hexadecimal", options, dump);
    addRange(command, *options);
    command.addFlag("--burst", options->inOneBurst, "read them in one burst instead of one by one");
    command.addOption("--order", oneOf({hostOrder, networkOrder}), options->order,
                      "the byte order of each value, host when not given");
    addIndexOption(command, *options);
}

void addFill(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<FillOptions>();
    const Common::Command command =
        addCommand(program, chosen, "fill", "write one value to registers in a row", options, fill);
    addRange(command, *options);
    command.addArgument("VALUE", options->value, "what is written to each");
    addIndexOption(command, *options);
}

void addWatch(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WatchOptions>();
    const Common::Command command =
        addCommand(program, chosen, "watch", "show registers, then their changes, until interrupted", options, watch);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->addresses, "the registers' byte addresses");
    command.addOption("--interval", "TIME", options->interval, "the time from one look to the next, 1s when not given");
    command.addOption("--count", "COUNT", options->count, "end after so many looks");
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
