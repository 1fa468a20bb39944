/**
 * @file
 * The manual page, made of what the program itself knows about its command line.
 */
#ifndef RYNVELCTL_MANPAGE_H
#define RYNVELCTL_MANPAGE_H

#include <string>

#include "ArgumentParser.h"

namespace Rynvelctl {

/** The page in the language of man(7). */
std::string manPage(const Common::CommandDescription& program);

} // namespace Rynvelctl

#endif
