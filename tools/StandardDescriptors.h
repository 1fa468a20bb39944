/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The descriptors of standard input, standard output and standard error.
 */
#ifndef RYNVELCTL_STANDARDDESCRIPTORS_H
#define RYNVELCTL_STANDARDDESCRIPTORS_H

namespace Rynvelctl {

/**
 * Opens the standard descriptors that are closed. Otherwise, a device or a connection could become standard output, and
 * the program would print to the registers of the device.
 */
void reserveStandardDescriptors();

/** Returns whether standard output was open when the program started. */
bool isStandardOutputOpen();

} // namespace Rynvelctl

#endif
