/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The traces of the library.
 */
#ifndef RYNVELCTL_TRACING_H
#define RYNVELCTL_TRACING_H

#include <string>
#include <vector>

namespace Rynvelctl {

/**
 * Applies trace settings of the form CHANNEL=LEVEL. If the environment variable ZILTRACE is unset or empty, all other
 * channels are off, so that traces do not mix with error messages. A build that cannot control the tracing library
 * changes no channels.
 *
 * @throws Failure if a setting is malformed, or if the program cannot control the tracing library.
 */
void setUpTraces(const std::vector<std::string>& settings);

} // namespace Rynvelctl

#endif
