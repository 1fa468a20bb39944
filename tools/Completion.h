/**
 * @file
 * What the shells complete, from what the program itself knows about its command line.
 */
#ifndef RYNVELCTL_COMPLETION_H
#define RYNVELCTL_COMPLETION_H

#include <string>
#include <vector>

#include "ArgumentParser.h"

namespace Rynvelctl {

/** @param words behind the program's name; the last one, which may be empty, is what is to be completed. */
std::vector<std::string> completions(const Common::CommandDescription& program, const std::vector<std::string>& words);

/** What stands for a value that is one of some words, from which completions() knows them. */
std::string oneOf(const std::vector<std::string>& words);

} // namespace Rynvelctl

#endif
