/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Replaces files completely or not at all.
 */
#ifndef RYNVELCTL_FILEREPLACEMENT_H
#define RYNVELCTL_FILEREPLACEMENT_H

#include <string>

namespace Rynvelctl {

/**
 * Checks that replaceFile() can replace or create a file.
 *
 * @throws Failure if the name belongs to a folder, a symbolic link, a device or another special file, if the user may
 * not write or replace the file, or if the user may not create a file in the folder.
 */
void requireReplaceable(const std::string& name);

/**
 * Replaces the contents of a file, or creates the file. A failure, a signal or a loss of power leaves the old file
 * unchanged, because the new contents are in a temporary file in the same folder until they are on the disk. A file
 * that exists keeps its permissions, and its owner and group as far as the user may set them. If the file cannot keep
 * its group, the permissions of the group are removed.
 *
 * @throws Failure if requireReplaceable() does, or if the file cannot be written.
 */
void replaceFile(const std::string& name, const std::string& contents);

} // namespace Rynvelctl

#endif
