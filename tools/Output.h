/**
 * @file
 * Standard output in the form that the user wants.
 */
#ifndef RYNVELCTL_OUTPUT_H
#define RYNVELCTL_OUTPUT_H

#include <string>

namespace Rynvelctl {

enum class Format { Plain, Quiet, Json };

/** One and the same news in every form, without the last line end. An empty text is not printed. */
struct News {
    std::string plain;
    std::string quiet;
    std::string json;
};

/** Nobody reads standard output any more. */
struct OutputClosed {};

class Output {
public:
    explicit Output(Format format) : m_format(format) {}

    /** Writes at once. @throws Failure, or OutputClosed. */
    void print(const News& news) const;

    /** Writes a text as it is. @throws Failure, or OutputClosed. */
    static void write(const std::string& text);

private:
    Format m_format;
};

} // namespace Rynvelctl

#endif
