#include "Commands.h"

#include <poll.h>
#include <unistd.h>

#include <map>
#include <optional>

#include "Addressing.h"
#include "Completion.h"
#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterWord.h"
#include "Views.h"

namespace Rynvelctl {

namespace {

/** What is held in memory of one command's registers stays within bounds. */
constexpr std::uint32_t mostRegisters = 1U << 20U;

constexpr const char* hostOrder = "host";
constexpr const char* networkOrder = "network";

struct PlaceOptions {
    std::string name;
    std::string address;
    bool countsRegisters = false;

    AddressUnit unit() const { return countsRegisters ? AddressUnit::Registers : AddressUnit::Bytes; }
};

struct WriteOptions : PlaceOptions {
    std::string value;
    std::string mask;
    bool verifies = false;
};

struct BlockOptions : PlaceOptions {
    std::string count;
};

struct DumpOptions : BlockOptions {
    bool inOneBurst = false;
    std::string order = hostOrder;
};

struct FillOptions : BlockOptions {
    std::string value;
};

struct WatchOptions : PlaceOptions {
    std::vector<std::string> addresses;
    std::string interval = "1s";
    std::string count;
};

Addressing addressingOf(const Subject& subject, const PlaceOptions& options) {
    return {subject.name(), subject.kind, options.unit()};
}

/** Registers in a row. */
struct Block {
    Place first;
    std::uint32_t count;
};

Block locateBlock(const Addressing& addressing, const BlockOptions& options) {
    const Block block{addressing.locate(options.address), parseCount("count", options.count, mostRegisters)};
    addressing.requireAddresses(block.first, block.count);
    return block;
}

void read(const Session& session, const PlaceOptions& options) {
    const Subject subject = session.subject(options.name);
    const Addressing addressing = addressingOf(subject, options);
    const Place place = addressing.locate(options.address);
    const auto device = openDevice(subject, session.time());
    device->requireInside(addressing, place, 1);
    session.output().print(registerValue(subject, addressing, place, device->read(addressing, place)));
}

void verify(OpenDevice& device, const Subject& subject, const Addressing& addressing, const Place& place,
            std::uint32_t value, std::uint32_t mask) {
    const std::uint32_t found = device.read(addressing, place);
    if ((found & mask) != (value & mask)) {
        throw Failure(ExitStatus::Failed, subject.name() + ": " + addressing.text(place) + " reads " +
                                              hexadecimal(found, subject.width()) + " after " +
                                              hexadecimal(value, subject.width()) + " was written");
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
    const Subject subject = session.subject(options.name);
    const Addressing addressing = addressingOf(subject, options);
    const Place place = addressing.locate(options.address);
    const bool isMasked = !options.mask.empty();
    const std::uint32_t value = parseValue("value", options.value, subject.width());
    const std::uint32_t mask = isMasked ? parseMask(options.mask, subject.width()) : largestValue(subject.width());
    const auto device = openDevice(subject, session.time());
    device->requireInside(addressing, place, 1);
    if (isMasked) {
        device->write(addressing, place, value, mask);
    } else {
        device->write(addressing, place, value);
    }
    if (options.verifies) {
        verify(*device, subject, addressing, place, value, mask);
    }
    session.output().print(isMasked ? maskedValue(subject, addressing, place, value, mask)
                                    : writtenValue(subject, addressing, place, value));
}

Rynvel::ByteOrder parseOrder(const std::string& text) {
    if (text != hostOrder && text != networkOrder) {
        throw wrongUsage("order '" + text + "' is none of host and network");
    }
    return text == networkOrder ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
}

/** @throws Failure when the library cannot read so many registers of the device in one burst. */
void requireBurst(const Subject& subject, std::uint32_t count) {
    if (subject.server && count > Rynvel::recordCapacity) {
        throw wrongUsage("count " + std::to_string(count) + " is above the " + std::to_string(Rynvel::recordCapacity) +
                         " registers of a server's burst");
    }
    if (subject.kind.access == Common::Access::Seekable && subject.width() != 8) {
        throw wrongUsage(subject.name() + ": the library reports every burst of a " + subject.kind.name +
                         " device as failed");
    }
}

/** To a server a burst of one register is a single read, which has no byte order. */
bool readsInOneBurst(const Subject& subject, const DumpOptions& options, const Block& block) {
    return options.inOneBurst && !(subject.server && block.count == 1);
}

/** What was read before a failure, if there was one, counts. */
struct Reading {
    std::vector<std::uint32_t> values;
    std::optional<Failure> failure;
};

Reading readSingly(OpenDevice& device, const Subject& subject, const Addressing& addressing, const Block& block,
                   Rynvel::ByteOrder order) {
    Reading reading;
    try {
        for (std::uint32_t i = 0; i < block.count; ++i) {
            const std::uint32_t value = device.read(addressing, addressing.behind(block.first, i));
            reading.values.push_back(Common::inOrder(value, subject.width(), order));
        }
    } catch (const Failure& failure) {
        reading.failure = failure;
    }
    return reading;
}

void dump(const Session& session, const DumpOptions& options) {
    const Subject subject = session.subject(options.name);
    const Addressing addressing = addressingOf(subject, options);
    const Block block = locateBlock(addressing, options);
    const Rynvel::ByteOrder order = parseOrder(options.order);
    if (options.inOneBurst) {
        requireBurst(subject, block.count);
    }
    const auto device = openDevice(subject, session.time());
    device->requireInside(addressing, block.first, block.count);
    const Reading reading = readsInOneBurst(subject, options, block)
                                ? Reading{device->readBurst(addressing, block.first, block.count, order), std::nullopt}
                                : readSingly(*device, subject, addressing, block, order);
    if (!reading.values.empty()) {
        session.output().print(registerBlock(subject, addressing, block.first, reading.values, order));
    }
    if (reading.failure) {
        throw Failure(*reading.failure);
    }
}

void fill(const Session& session, const FillOptions& options) {
    const Subject subject = session.subject(options.name);
    const Addressing addressing = addressingOf(subject, options);
    const Block block = locateBlock(addressing, options);
    const std::uint32_t value = parseValue("value", options.value, subject.width());
    const auto device = openDevice(subject, session.time());
    device->requireInside(addressing, block.first, block.count);
    for (std::uint32_t i = 0; i < block.count; ++i) {
        device->write(addressing, addressing.behind(block.first, i), value);
    }
    session.output().print(filledRegisters(subject, addressing, block.first, block.count, value));
}

/** The registers that are watched, with what they were when they were last read. */
class Watch {
public:
    Watch(const Session& session, const Subject& subject, const Addressing& addressing, OpenDevice& device)
        : m_session(session), m_subject(subject), m_addressing(addressing), m_device(device) {}

    void look(const std::vector<Place>& places) {
        for (const Place& place : places) {
            const std::uint32_t value = m_device.read(m_addressing, place);
            const auto known = m_values.find(place.index);
            if (known == m_values.end() || known->second != value) {
                m_values[place.index] = value;
                m_session.output().print(change(m_subject, m_addressing, place, value, timeStamp()));
            }
        }
    }

private:
    const Session& m_session;
    const Subject& m_subject;
    const Addressing& m_addressing;
    OpenDevice& m_device;
    std::map<std::uint32_t, std::uint32_t> m_values;
};

std::vector<Place> locateAll(const Addressing& addressing, const std::vector<std::string>& addresses) {
    std::vector<Place> places;
    places.reserve(addresses.size());
    for (const std::string& address : addresses) {
        places.push_back(addressing.locate(address));
    }
    return places;
}

/** Lets the time pass, or notices that nobody reads standard output any more. */
void pause(const Common::Deadline& end) {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, end.pollTime()) > 0) {
        throw OutputClosed();
    }
}

void watch(const Session& session, const WatchOptions& options) {
    const Subject subject = session.subject(options.name);
    const Addressing addressing = addressingOf(subject, options);
    const std::vector<Place> places = locateAll(addressing, options.addresses);
    const auto interval = parsePositiveDuration("interval", options.interval);
    const std::uint32_t count = options.count.empty() ? 0 : parseCount("count", options.count);
    const auto device = openDevice(subject, session.time());
    for (const Place& place : places) {
        device->requireInside(addressing, place, 1);
    }
    Watch watched(session, subject, addressing, *device);
    watched.look(places);
    for (std::uint32_t looks = 1; count == 0 || looks < count; ++looks) {
        pause(Common::Deadline::earlier(Common::Deadline(interval), session.time().deadline()));
        session.time().require(subject.name());
        watched.look(places);
    }
}

void addPlace(const Common::Command& command, PlaceOptions& options) {
    command.addArgument("NAME", options.name, "the device");
    command.addArgument("ADDRESS", options.address, "the register's byte address");
}

void addBlock(const Common::Command& command, BlockOptions& options) {
    addPlace(command, options);
    command.addArgument("COUNT", options.count, "the number of registers, up to 1048576");
}

void addIndexOption(const Common::Command& command, PlaceOptions& options) {
    command.addFlag("--index", options.countsRegisters, "addresses are indices of registers instead of bytes");
}

void addRead(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<PlaceOptions>();
    const Common::Command command = addCommand(program, chosen, "read", "read a register", options, read);
    addPlace(command, *options);
    addIndexOption(command, *options);
}

void addWrite(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WriteOptions>();
    const Common::Command command = addCommand(program, chosen, "write", "write a register", options, write);
    addPlace(command, *options);
    command.addArgument("VALUE", options->value, "what is written");
    command.addOption("--mask", "MASK", options->mask, "write only the bits that are set in the mask");
    command.addFlag("--verify", options->verifies, "read the register back, and fail when it differs");
    addIndexOption(command, *options);
}

void addDump(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    const Common::Command command =
        addCommand(program, chosen, "dump", "show registers in a row, in hexadecimal", options, dump);
    addBlock(command, *options);
    command.addFlag("--burst", options->inOneBurst, "read them in one burst instead of one by one");
    command.addOption("--order", oneOf({hostOrder, networkOrder}), options->order,
                      "the byte order of each value, host when not given");
    addIndexOption(command, *options);
}

void addFill(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<FillOptions>();
    const Common::Command command =
        addCommand(program, chosen, "fill", "write one value to registers in a row", options, fill);
    addBlock(command, *options);
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
