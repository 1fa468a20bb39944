/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Standard output, in the format that the user selects.
 */
#ifndef RYNVELCTL_OUTPUT_H
#define RYNVELCTL_OUTPUT_H

#include <optional>

#include <poll.h>

#include "CommandTimeout.h"
#include "Failure.h"
#include "NumberBase.h"
#include "Report.h"

namespace Rynvelctl {

enum class Format { Text, Values, Json };

/** Thrown if the reader of standard output has closed the stream. */
struct OutputClosed {};

/** Returns the failure of a write to standard output. @param error the error number. */
Failure outputFailure(int error);

class Output {
public:
    /**
     * @param timeout the time-out of the command, which also limits the wait for a reader of standard output.
     * @param base the base of printed values in the formats Text and Values; none for base 10 in fields and base 16
     * elsewhere.
     */
    Output(Format format, const CommandTimeout& timeout, GivenBase base = std::nullopt)
        : m_format(format), m_timeout(timeout), m_base(base) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    Format format() const { return m_format; }
    GivenBase base() const { return m_base; }

    /** Writes a report, or nothing if its formatted text is empty. @throws Failure or OutputClosed. @{ */
    void print(const Report& report) const;
    void print(const Reading& reading) const;
    /** @} */

    enum class Contents { Bytes, Lines };

    /**
     * Writes a text unchanged, in pieces of at most PIPE_BUF bytes. With Contents::Lines, a piece consists of whole
     * lines, unless a line has more than PIPE_BUF bytes. A failure or a time-out between two pieces then does not cut a
     * line. With Contents::Bytes, it can cut a line.
     *
     * @throws Failure or OutputClosed.
     */
    void write(const std::string& text, Contents contents = Contents::Bytes) const;

    /**
     * Lets the commands run to their end even if standard output fails or loses its reader. After this call, print()
     * and write() store the first of these failures instead of throwing it. Both functions still throw a Failure after
     * the time-out.
     */
    void deferFailures() const { m_deferred.isOn = true; }

    /** Returns the stored failure; none if standard output has taken everything. */
    const std::optional<Failure>& deferredFailure() const { return m_deferred.failure; }

    /**
     * Returns an element for the array of poll(). With this element, a wait also ends when standard output loses its
     * reader, unless deferFailures() was called.
     */
    pollfd reader() const;

    /** Waits until the deadline. @throws OutputClosed if standard output loses its reader, unless deferFailures() was
     * called. */
    void waitUntil(const Common::Deadline& deadline) const;

    /**
     * Waits until the deadline, in a command that may run as long as standard output has a reader.
     *
     * @throws OutputClosed if standard output loses its reader, even after deferFailures().
     */
    static void waitWithReader(const Common::Deadline& deadline);

private:
    struct Deferred {
        bool isOn = false;
        std::optional<Failure> failure;
    };

    Format m_format;
    CommandTimeout m_timeout;
    GivenBase m_base;
    /** Mutable, because all commands of a file share one constant object. */
    mutable Deferred m_deferred;
};

} // namespace Rynvelctl

#endif
