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
#include "Output.h"

namespace Rynvelctl {

/** The maximum number of bytes of a line. */
constexpr std::size_t longestLine = 65536;

/** Returns each line as soon as it has arrived. */
class LineReader {
public:
    /**
     * @param file the name of a file; - is standard input.
     * @param timeout the time-out of the command, which limits the wait for a line.
     * @param output must outlive this object. If standard output loses its reader, the wait for a line ends.
     * @throws Failure if the file cannot be opened.
     */
    LineReader(const std::string& file, const CommandTimeout& timeout, const Output& output);

    /**
     * Returns the next line without its end and without a byte order mark; none after the last line. Returns only the
     * first longestLine + 1 bytes of a longer line, without reading the rest.
     *
     * @throws Failure if the file cannot be read or if the time-out has expired, or OutputClosed.
     */
    std::optional<std::string> next();

    /** Returns the number of the line that next() has returned last, counted from 1. */
    std::size_t number() const { return m_number; }

private:
    /** Reads up to the end of the line, or up to more than longestLine bytes. @return the number of bytes. */
    std::size_t measureLine();
    void skipLine();
    void waitUntilReadable() const;
    /** Reads more of the file. @return whether the file has not ended. */
    bool readMore();

    const std::string m_file;
    const CommandTimeout m_timeout;
    const Output& m_output;
    const Common::Descriptor m_input;
    std::string m_text;
    /** The position of the next line in m_text. */
    std::size_t m_begin = 0;
    std::size_t m_number = 0;
    /** Whether m_begin is in the middle of a line that is too long. */
    bool m_isInLongLine = false;
};

} // namespace Rynvelctl

#endif
