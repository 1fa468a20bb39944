/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The lines of a file or of standard input.
 */
#ifndef RYNVELCTL_LINEREADER_H
#define RYNVELCTL_LINEREADER_H

#include <cstddef>
#include <optional>
#include <string>

#include "CommandTimeout.h"
#include "Descriptor.h"

namespace Rynvelctl {

/** The name of standard input. */
constexpr const char* standardInput = "-";

/** Returns each line as soon as it has arrived. */
class LineReader {
public:
    /**
     * @param file the name of a file; - is standard input.
     * @param timeout limits the wait for a line.
     * @throws Failure if the file cannot be opened.
     */
    LineReader(const std::string& file, const CommandTimeout& timeout);

    /**
     * Returns the next line without its end; none after the last line.
     *
     * @throws Failure if the file cannot be read or if a line has more than 65536 bytes, or OutputClosed if standard
     * output closes during the wait.
     */
    std::optional<std::string> next();

    /** Returns the number of the line that next() has returned, counted from 1. */
    std::size_t number() const { return m_number; }

private:
    void waitUntilReadable() const;
    /** Reads more of the file. @return whether the file has not ended. */
    bool readMore();

    const std::string m_file;
    const CommandTimeout m_timeout;
    const Common::Descriptor m_input;
    std::string m_text;
    /** The position of the next line in m_text. */
    std::size_t m_begin = 0;
    std::size_t m_number = 0;
};

} // namespace Rynvelctl

#endif
