/**
 * @file
 * The library's traces.
 */
#ifndef RYNVELCTL_TRACING_H
#define RYNVELCTL_TRACING_H

#include <string>
#include <vector>

namespace Rynvelctl {

/**
 * Turns on what the settings, each CHANNEL=LEVEL, ask for. All else is silent, so that a failure is one line, unless
 * the environment has settings of its own.
 *
 * @throws Failure when a setting is malformed, or when the tracing library cannot be controlled.
 */
void setUpTraces(const std::vector<std::string>& settings);

} // namespace Rynvelctl

#endif
