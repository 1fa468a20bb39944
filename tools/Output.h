/**
 * @file
 * Standard output in the form that the user wants.
 */
#ifndef RYNVELCTL_OUTPUT_H
#define RYNVELCTL_OUTPUT_H

#include "Report.h"

namespace Rynvelctl {

enum class Format { Text, Bare, Json };

/** Nobody reads standard output any more. */
struct OutputClosed {};

class Output {
public:
    explicit Output(Format format) : m_format(format) {}

    /** Writes a report at once; nothing where the format has no text for it. @throws Failure, or OutputClosed. */
    void print(const Report& report) const;

    /** Writes a text as it is. @throws Failure, or OutputClosed. */
    static void write(const std::string& text);

private:
    Format m_format;
};

} // namespace Rynvelctl

#endif
