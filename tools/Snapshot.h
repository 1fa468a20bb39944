/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The saved values of the registers of a device.
 */
#ifndef RYNVELCTL_SNAPSHOT_H
#define RYNVELCTL_SNAPSHOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "Deadline.h"

namespace Rynvelctl {

struct SavedRegister {
    std::string name;
    /** The offset from the beginning of the device, in bytes. */
    std::uint32_t offset = 0;
    /** The size in bits, at most 32. */
    unsigned int size = 0;
    std::uint32_t value = 0;
};

/** The register map that named the registers. */
struct SnapshotMap {
    std::string file;
    /** The name and the version in the file. */
    std::string name;
    std::string version;
};

struct Snapshot {
    std::string device;
    SnapshotMap map;
    /** The time in the form of timeStamp(). */
    std::string time;
    std::vector<SavedRegister> registers;
};

/** Returns the contents of the file for a snapshot: JSON, with one line for each register. */
std::string snapshotText(const Snapshot& snapshot);

/** Returns the same text as snapshotText(). @throws Failure if readSnapshot() would refuse a file with this text. */
std::string readableText(const Snapshot& snapshot);

/** Returns the snapshot from a text of snapshotText(). @throws WrongJson for any other text. */
Snapshot parseSnapshot(const std::string& text);

/**
 * Reads the file of a snapshot.
 *
 * @throws Failure if the file cannot be read, if it has more than 16 MiB, or if its contents are wrong. In the last
 * case, the message names the line.
 * @throws Common::ReadTimedOut if the deadline passes.
 */
Snapshot readSnapshot(const std::string& file, const Common::Deadline& deadline = {});

} // namespace Rynvelctl

#endif
