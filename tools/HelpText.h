/**
 * @file
 * What the help says beside the options.
 */
#ifndef RYNVELCTL_HELPTEXT_H
#define RYNVELCTL_HELPTEXT_H

#include <string>

namespace Rynvelctl {

extern const char* const summary;

/** The sections that follow the options and commands, in lines of a terminal. */
std::string helpFooter();

} // namespace Rynvelctl

#endif
