/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Parses lines of a text as commands.
 */
#ifndef RYNVELCTL_LINEPARSER_H
#define RYNVELCTL_LINEPARSER_H

#include <memory>
#include <string>

#include "Commands.h"

namespace Rynvelctl {

/** Parses lines. A line contains one command with its options and arguments, but without global options. */
class LineParser {
public:
    LineParser();
    LineParser(const LineParser&) = delete;
    LineParser& operator=(const LineParser&) = delete;
    ~LineParser();

    /** Returns the action of a line; empty for a line without words. @throws Failure if the line is wrong. */
    Action parse(const std::string& line);

private:
    struct Commands;

    /**
     * Null before the first line, and after a wrong line, because the options of that line must not apply to the next
     * line.
     */
    std::unique_ptr<Commands> m_commands;
};

} // namespace Rynvelctl

#endif
