/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The names and the descriptors of standard input, standard output and standard error.
 */
#ifndef RYNVELCTL_STANDARDDESCRIPTORS_H
#define RYNVELCTL_STANDARDDESCRIPTORS_H

namespace Rynvelctl {

/** The name of standard input, and of standard output, in a command line. @{ */
constexpr const char* standardInput = "-";
constexpr const char* standardOutput = "-";
/** @} */

/**
 * Opens /dev/null for each standard descriptor that is closed. Otherwise, a device or a connection could become
 * standard output, and the program would print to the registers of the device.
 */
void reserveStandardDescriptors();

/** Returns whether standard output was open when the program started. */
bool isStandardOutputOpen();

} // namespace Rynvelctl

#endif
