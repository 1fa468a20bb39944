// SPDX-License-Identifier: MIT
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

#include "Commands.h"
#include "Count.h"
#include "InputFile.h"
#include "NamedRange.h"
#include "OpenDevice.h"
#include "RangeWrite.h"
#include "RawBytes.h"
#include "RegisterOptions.h"
#include "RegisterWord.h"
#include "StandardDescriptors.h"

namespace Rynvelctl {

namespace {

struct LoadOptions : RegisterOptions {
    std::string file = standardInput;
    std::string order = hostOrder;
};

/** Returns the contents of a file. If the file has more than `most` bytes, may return only its first part. */
std::string contentsOf(const CommandContext& context, const std::string& file, std::size_t most) {
    const Common::Deadline& deadline = context.timeout().deadline();
    if (file != standardInput) {
        return Common::readFile(file, most, deadline);
    }
    context.takeStandardInput("load");
    if (::isatty(STDIN_FILENO) == 1) {
        throw usageError("standard input is a terminal (redirect it from a file or a pipe)");
    }
    return Common::readStandardInput(file, most, deadline);
}

std::string readContents(const CommandContext& context, const LoadOptions& options, std::size_t most) {
    try {
        return contentsOf(context, options.file, most);
    } catch (const std::system_error& error) {
        throw usageError(options.file + ": " + error.code().message());
    }
}

/** The maximum number of registers in a file. */
struct Limit {
    std::uint32_t registers;
    /** The reason, for an error message. */
    std::string reason;
};

/**
 * Returns the limit for a file whose first value is for this register.
 *
 * @throws Failure if the register is outside the map of the device.
 */
Limit limitFrom(const CommandContext& context, const RegisterRange& first) {
    const Target& target = first.device();
    // A server may close a connection that is idle during the wait for the file.
    const auto mapSize = target.server ? std::nullopt : context.open(first)->mapSize();
    const std::uint32_t inMap = mapSize ? *mapSize / Common::bytesOf(target.width()) - first.index() : UINT32_MAX;
    if (inMap > maxRegisters) {
        return {maxRegisters, Common::counted(maxRegisters, "register")};
    }
    return {inMap, target.name() + " has " + Common::counted(inMap, "register") + " from " + first.addressText()};
}

/**
 * Returns the bytes of a file.
 *
 * @throws Failure if the file cannot be read, is empty or too long, or does not contain whole registers.
 */
std::string readRegisters(const CommandContext& context, const LoadOptions& options, const RegisterRange& first) {
    const unsigned int width = first.device().width();
    const std::size_t size = Common::bytesOf(width);
    const Limit limit = limitFrom(context, first);
    const std::size_t most = limit.registers * size;
    std::string bytes = readContents(context, options, most);
    if (bytes.empty()) {
        throw usageError(options.file + ": the file is empty");
    }
    if (bytes.size() > most) {
        throw usageError(options.file + ": the file has more than " + Common::counted(most, "byte") + " (" +
                         limit.reason + ')');
    }
    if (bytes.size() % size != 0) {
        throw usageError(options.file + ": the size of " + Common::counted(bytes.size(), "byte") +
                         " is not a multiple of " + std::to_string(size) + " (" + std::to_string(width) +
                         "-bit registers)");
    }
    return bytes;
}

std::vector<std::uint32_t> readValues(const CommandContext& context, const LoadOptions& options,
                                      const RegisterRange& first) {
    const Rynvel::ByteOrder order = parseOrder(options.order);
    const unsigned int width = first.device().width();
    std::vector<std::uint32_t> values = valuesOf(readRegisters(context, options, first), width);
    for (std::uint32_t& value : values) {
        value = Common::inByteOrder(value, width, order);
    }
    return values;
}

void load(const CommandContext& context, const LoadOptions& options) {
    const Target& target = context.target(options.name);
    const NamedRange named(context, target, options.address, options.unit());
    const std::vector<std::uint32_t> values = readValues(context, options, named.sized(1U));
    const RegisterRange range = named.sized(static_cast<std::uint32_t>(values.size()));
    const auto valueAt = [&values](std::uint32_t position) { return values[position]; };
    named.requireAllowed(range, valueAt);
    writeRange(*context.open(range), range, valueAt, [&] {
        context.output().print(LoadedRange{range, parseOrder(options.order)});
    });
}

} // namespace

void addLoadCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<LoadOptions>();
    const Common::Command command =
        addCommand(program, chosen, "load", "write the bytes of a file to consecutive registers", options, load);
    addFirstRegister(command, *options);
    command.addOptionalArgument("FILE", options->file, "the file; - is standard input (default: -)");
    addOrderOption(command, options->order);
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
