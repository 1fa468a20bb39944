// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iterator>
#include <new>
#include <optional>
#include <system_error>
#include <unordered_set>

#include "Commands.h"
#include "DeviceList.h"
#include "DeviceSnapshot.h"
#include "Failure.h"
#include "FileReplacement.h"
#include "Formats.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "SnapshotComparison.h"
#include "SnapshotRestorer.h"
#include "StandardDescriptors.h"

namespace Rynvelctl {

namespace {

struct SaveOptions {
    std::string name;
    std::string file;
    bool includesSideEffects = false;
};

struct DiffOptions {
    std::string first;
    std::string second;
    bool includesSideEffects = false;
};

struct RestoreOptions {
    std::string name;
    std::string file;
    bool isDryRun = false;
};

SideEffects sideEffectsOf(bool areIncluded) { return areIncluded ? SideEffects::Included : SideEffects::LeftOut; }

void printLeftOut(const std::string& device, const std::vector<std::string>& names) {
    if (!names.empty()) {
        printError(device + ": left out: " + joinNames(names) +
                   " (reading has a side effect; --with-side-effects includes them)");
    }
}

void requireWritable(const std::string& file) {
    if (file != standardOutput) {
        requireReplaceable(file);
    } else if (!isStandardOutputOpen()) {
        throw outputFailure(EBADF);
    }
}

/**
 * Writes a snapshot to standard output. Fails if standard output loses its reader, because the snapshot is then lost.
 */
void print(const Output& output, const std::string& snapshot) {
    try {
        output.write(snapshot);
    } catch (const OutputClosed&) {
        throw outputFailure(EPIPE);
    }
}

void save(const CommandContext& context, const SaveOptions& options) {
    requireWritable(options.file);
    const bool isPrinted = options.file == standardOutput;
    const Target& target = context.target(options.name);
    const RegisterMap& map = context.registerMap(target);
    const DeviceSnapshot taken = takeSnapshot(map, *context.open(target), sideEffectsOf(options.includesSideEffects));
    context.timeout().requireTimeLeft(options.file);
    const std::string text = readableText(taken.snapshot);
    if (!isPrinted) {
        replaceFile(options.file, text);
    }
    printLeftOut(target.name(), taken.withSideEffects);
    for (const std::string& obstacle : taken.obstacles) {
        printError(obstacle);
    }
    if (isPrinted) {
        print(context.output(), text);
    } else {
        context.output().print(SavedRegisters{target.name(), options.file, taken.snapshot.registers.size()});
    }
}

bool isFile(const std::string& name) {
    if (name.find('/') != std::string::npos) {
        return true;
    }
    std::error_code error;
    const bool exists = std::filesystem::exists(name, error);
    if (exists && Common::findDevice(name) != nullptr) {
        throw usageError(name + ": a device and a file have this name (give ./" + name +
                         " for the file, or run the command in another folder for the device)");
    }
    return exists;
}

/** Removes the registers with these names, and returns the names of the removed registers. */
std::vector<std::string> removeRegisters(Snapshot& snapshot, const std::vector<std::string>& names) {
    auto& registers = snapshot.registers;
    std::unordered_set<std::string> present;
    for (const SavedRegister& saved : registers) {
        present.insert(saved.name);
    }
    std::vector<std::string> removed;
    std::copy_if(names.begin(), names.end(), std::back_inserter(removed),
                 [&present](const std::string& name) { return present.count(name) != 0; });
    const std::unordered_set<std::string> unwanted(removed.begin(), removed.end());
    registers.erase(std::remove_if(registers.begin(), registers.end(),
                                   [&unwanted](const SavedRegister& saved) { return unwanted.count(saved.name) != 0; }),
                    registers.end());
    return removed;
}

/** @throws Failure if a file is not a snapshot of the device. @param hint ends the message. */
void requireDevice(const std::string& file, const Snapshot& snapshot, const std::string& device,
                   const std::string& hint) {
    if (snapshot.device != device) {
        throw usageError(file + ": the file is a snapshot of " + snapshot.device + hint);
    }
}

void requireDevice(const std::string& file, const Snapshot& snapshot, const std::string& device) {
    requireDevice(file, snapshot, device, " (give a snapshot of " + device + ')');
}

Snapshot snapshotToCompare(const CommandContext& context, const DiffOptions& options, Snapshot& other) {
    if (isFile(options.first)) {
        Snapshot snapshot = readSnapshot(options.first, context.timeout().deadline());
        requireDevice(options.second, other, snapshot.device,
                      ", but " + options.first + " is a snapshot of " + snapshot.device +
                          " (give snapshots of the same device)");
        return snapshot;
    }
    const Target& target = context.target(options.first);
    requireDevice(options.second, other, target.name());
    const RegisterMap& map = context.registerMap(target);
    DeviceSnapshot taken = takeSnapshot(map, *context.open(target), sideEffectsOf(options.includesSideEffects));
    printLeftOut(target.name(), removeRegisters(other, taken.withSideEffects));
    return std::move(taken.snapshot);
}

/**
 * Returns the description of a device; null if there is none. If a register map cannot be used, prints an error message
 * and returns null.
 */
const Maps::Peripheral* describe(const CommandContext& context, const std::string& device) {
    try {
        const auto description = context.maps().find(device);
        return description ? description->peripheral : nullptr;
    } catch (const Maps::UnusableMap& unusable) {
        printError(unusable.what());
        return nullptr;
    }
}

bool printDifferences(const CommandContext& context, const DiffOptions& options) {
    ComparedSnapshot second{options.second, readSnapshot(options.second, context.timeout().deadline())};
    const ComparedSnapshot first{options.first, snapshotToCompare(context, options, second.snapshot)};
    const auto differences = compare(first, second, describe(context, first.snapshot.device));
    for (const RegisterDifference& difference : differences) {
        context.output().print(difference);
    }
    return !differences.empty();
}

// Status 1 means that there are differences, so a failure must not end with status 1.
void diff(const CommandContext& context, const DiffOptions& options) {
    bool isDifferent = false;
    try {
        isDifferent = printDifferences(context, options);
    } catch (const OutputClosed&) {
        isDifferent = true;
    } catch (const Failure& failure) {
        throw failure.status() == ExitStatus::Failed ? usageError(failure.what()) : failure;
    } catch (const std::bad_alloc&) {
        throw usageError("out of memory");
    } catch (const std::exception& exception) {
        throw usageError(exception.what());
    }
    if (isDifferent) {
        throw ExitWithStatus{ExitStatus::Failed};
    }
}

/** Prints the results of a restoration. Continues after a failure of standard output, because the writes are done. */
class RestorationOutput {
public:
    explicit RestorationOutput(const Output& output) : m_output(output) {}

    void print(const SnapshotRestorer& restoration) {
        for (const RestoredRegister& restored : restoration.restored()) {
            print(restored);
        }
        for (const SkippedRegisters& skipped : restoration.skipped()) {
            print(skipped);
            // The user must see what was not restored, even with --quiet or without standard output.
            if (m_failure || m_output.deferredFailure() || m_output.format() == Format::Values) {
                printError(formatText(Report(skipped)));
            }
        }
    }

    /** Returns the failure of standard output; none if it has received all results. */
    const std::optional<Failure>& failure() const { return m_failure; }

private:
    void print(const Report& report) {
        if (m_failure) {
            return;
        }
        try {
            m_output.print(report);
        } catch (const OutputClosed&) {
            m_failure = outputFailure(EPIPE);
        } catch (const Failure& failure) {
            m_failure = failure;
        }
    }

    const Output& m_output;
    std::optional<Failure> m_failure;
};

void restore(const CommandContext& context, const RestoreOptions& options) {
    const Snapshot snapshot = readSnapshot(options.file, context.timeout().deadline());
    const Target& target = context.target(options.name);
    requireDevice(options.file, snapshot, target.name());
    const RegisterMap& map = context.registerMap(target);
    const auto device = context.open(target);
    SnapshotRestorer restoration(map, *device, context.timeout(),
                                 options.isDryRun ? SnapshotRestorer::Mode::DryRun : SnapshotRestorer::Mode::Write);
    // Prints only after the restoration, because a reader that closes standard output must not interrupt the
    // restoration.
    const std::optional<Failure> failure = restoration.restore(snapshot);
    RestorationOutput output(context.output());
    output.print(restoration);
    for (const auto& problem : {failure, output.failure()}) {
        if (problem) {
            throw Failure(*problem);
        }
    }
    if (!restoration.isMatching()) {
        throw ExitWithStatus{ExitStatus::Failed};
    }
}

void addSave(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<SaveOptions>();
    const Common::Command command = addCommand(
        program, chosen, "save", "save the values of all readable registers in a snapshot file", options, save);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("FILE", options->file, "the file to write; - is standard output");
    addSideEffectsOption(command, options->includesSideEffects);
}

void addDiff(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DiffOptions>();
    const Common::Command command =
        addCommand(program, chosen, "diff", "show the registers and fields that differ from a snapshot", options, diff);
    command.addArgument("DEVICE|FILE", options->first,
                        "a device, or a snapshot file (a name that contains /, or the name of an existing file)");
    command.addArgument("FILE", options->second, "a snapshot");
    addSideEffectsOption(command, options->includesSideEffects);
}

void addRestore(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<RestoreOptions>();
    const Common::Command command =
        addCommand(program, chosen, "restore",
                   "write the values of a snapshot that differ from the device, and read them back", options, restore);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("FILE", options->file, "a snapshot");
    command.addFlag("--dry-run", options->isDryRun, "show what the command would write, and write nothing");
}

} // namespace

void addSnapshotCommands(const Common::Command& program, Action& chosen) {
    addSave(program, chosen);
    addDiff(program, chosen);
    addRestore(program, chosen);
}

} // namespace Rynvelctl
