/**
 * @file
 * What the help and the manual page say beside the options.
 */
#ifndef RYNVELCTL_HELPTEXT_H
#define RYNVELCTL_HELPTEXT_H

#include <string>
#include <vector>

namespace Rynvelctl {

struct HelpSection {
    std::string title;
    std::vector<std::string> paragraphs;
};

extern const char* const summary;
extern const std::vector<HelpSection> helpSections;

/** The sections in plain text. */
std::string helpFooter();

} // namespace Rynvelctl

#endif
