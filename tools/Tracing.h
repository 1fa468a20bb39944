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
 * Applies trace settings of the form CHANNEL=LEVEL. Without settings in the environment variable ZILTRACE, all other
 * channels are off. An error message is then the only line on standard error.
 *
 * @throws Failure if a setting is malformed, or if the program cannot control the tracing library.
 */
void setUpTraces(const std::vector<std::string>& settings);

} // namespace Rynvelctl

#endif
