/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Differences between snapshots.
 */
#ifndef RYNVELCTL_SNAPSHOTCOMPARISON_H
#define RYNVELCTL_SNAPSHOTCOMPARISON_H

#include <string>
#include <vector>

#include "Model.h"
#include "Report.h"
#include "Snapshot.h"

namespace Rynvelctl {

/** One of the snapshots to compare. */
struct ComparedSnapshot {
    /** The device or the file, as the user gave it. */
    std::string source;
    Snapshot snapshot;
};

/**
 * Returns the corresponding registers whose values differ, and the registers without a corresponding one, in the order
 * of their offsets. Two registers correspond if they have the same name, offset and size.
 *
 * @param peripheral describes the fields of the registers; null without a description. It must outlive the result.
 */
std::vector<RegisterDifference> compare(const ComparedSnapshot& first, const ComparedSnapshot& second,
                                        const Maps::Peripheral* peripheral);

} // namespace Rynvelctl

#endif
