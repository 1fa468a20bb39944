/**
 * @file
 * Standard output in the form that the user wants.
 */
#ifndef RYNVELCTL_OUTPUT_H
#define RYNVELCTL_OUTPUT_H

#include "CommandTime.h"
#include "Report.h"

namespace Rynvelctl {

enum class Format { Text, Bare, Json };

/** Nobody reads standard output any more. */
struct OutputClosed {};

class Output {
public:
    /** @param time the command's: standard output that nobody reads is not waited for any longer. */
    Output(Format format, const CommandTime& time) : m_format(format), m_time(time) {}

    /** Writes a report at once; nothing where the format has no text for it. @throws Failure, or OutputClosed. */
    void print(const Report& report) const;

    /** Writes a text as it is. @throws Failure, or OutputClosed. */
    void write(const std::string& text) const;

private:
    Format m_format;
    CommandTime m_time;
};

} // namespace Rynvelctl

#endif
