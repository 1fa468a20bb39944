/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Formats changes and interrupts as lines, in the format of the user or as comma-separated values.
 */
#ifndef RYNVELCTL_EVENTFORMAT_H
#define RYNVELCTL_EVENTFORMAT_H

#include <optional>
#include <string>

#include "ArgumentParser.h"
#include "Output.h"
#include "Report.h"

namespace Rynvelctl {

/** The parts of a line. A part that an event does not have is empty. */
struct EventTexts {
    std::string time;
    std::string device;
    std::string address;
    std::string name;
    std::string value;
    std::string oldValue;
};

/** Returns the texts of a change. @param previous the previous reading; none for the first sample. */
EventTexts textsOf(const RegisterChange& change, const std::optional<Reading>& previous, GivenBase base);
EventTexts textsOf(const InterruptEvent& interrupt);
/** Returns the texts of an event, with the current time. @{ */
EventTexts textsOf(const InterruptType& interrupt);
EventTexts textsOf(const InterruptState& interrupt);
/** @} */

/** A format with directives such as %v. The corresponding text of an event replaces each directive. */
class EventFormat {
public:
    /**
     * @param command the name of the command, for the error message.
     * @param directives the characters of the directives that the command has, such as "tdv".
     * @throws Failure if the text has another directive, or if it ends within a directive.
     */
    EventFormat(std::string text, const std::string& command, const std::string& directives);

    /** Returns the line without its end. */
    std::string line(const EventTexts& event) const;

private:
    std::string m_text;
};

/** The directives of a command for registers, and of a command for interrupts. @{ */
constexpr const char* registerDirectives = "tdanvo";
constexpr const char* interruptDirectives = "tdv";
/** @} */

Common::OptionReference addFormatOption(const Common::Command& command, std::string& format,
                                        const std::string& directives);

/**
 * Returns the format that the user gives; none for an empty text.
 *
 * @throws Failure for a wrong format, and if the user also gives --json or --quiet.
 */
std::optional<EventFormat> parseFormat(const Output& output, const std::string& text, const std::string& command,
                                       const std::string& directives);

/** @throws Failure if the user also gives --json or --quiet. */
void requireTextFormat(const Output& output, const std::string& option);

/**
 * Prints an interrupt, or a result of the command irq.
 *
 * @param format the user's format; none for the format that the global options select.
 */
template <typename Event>
void printEvent(const Output& output, const std::optional<EventFormat>& format, const Event& event) {
    if (format) {
        output.write(format->line(textsOf(event)) + '\n');
    } else {
        output.print(event);
    }
}

/** The names of the values in a line of csvLine(). */
constexpr const char* csvHeader = "time,device,address,name,value,old";

/** Returns a line of values separated by commas, with the quotation marks of RFC 4180, and without the line end. */
std::string csvLine(const EventTexts& event);

} // namespace Rynvelctl

#endif
