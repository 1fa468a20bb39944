// SPDX-License-Identifier: MIT
#include "EventFormat.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Failure.h"
#include "Formats.h"
#include "Printable.h"
#include "TextTable.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

struct Directive {
    char character;
    std::string EventTexts::*text;
    const char* meaning;
};

constexpr std::array<Directive, 6> knownDirectives{{{'t', &EventTexts::time, "time"},
                                                    {'d', &EventTexts::device, "device"},
                                                    {'a', &EventTexts::address, "address"},
                                                    {'n', &EventTexts::name, "name"},
                                                    {'v', &EventTexts::value, "value"},
                                                    {'o', &EventTexts::oldValue, "old value"}}};

const Directive& directiveOf(char character) {
    return *std::find_if(knownDirectives.begin(), knownDirectives.end(),
                         [character](const Directive& known) { return known.character == character; });
}

/** Returns the directives as a list for a sentence, with or without their meanings. */
std::string listOf(const std::string& directives, bool hasMeanings) {
    std::string list;
    for (const char character : directives) {
        list += std::string("%") + character;
        list += hasMeanings ? std::string(" ") + directiveOf(character).meaning : "";
        list += ", ";
    }
    return list.substr(0, list.size() - 2) + (hasMeanings ? ", %% percent sign" : " or %%");
}

std::string quoted(const std::string& text) {
    if (text.find_first_of("\",\r\n") == std::string::npos) {
        return text;
    }
    std::string result = "\"";
    for (const char character : text) {
        result += character == '"' ? "\"\"" : std::string(1, character);
    }
    return result + '"';
}

} // namespace

EventTexts textsOf(const RegisterChange& change, const std::optional<Reading>& previous, GivenBase base) {
    const RegisterRange& range = rangeOf(change.reading);
    return {change.time,
            range.device().name(),
            range.numberText(),
            nameText(change.reading),
            plainValueText(change.reading, base),
            previous ? plainValueText(*previous, base) : ""};
}

EventTexts textsOf(const InterruptEvent& interrupt) {
    return {interrupt.time, interrupt.device, "", "", std::to_string(interrupt.word), ""};
}

EventTexts textsOf(const InterruptType& interrupt) {
    return {timeStamp(), interrupt.device, "", "", std::to_string(interrupt.type), ""};
}

EventTexts textsOf(const InterruptState& interrupt) {
    return {timeStamp(), interrupt.device, "", "", interrupt.state, ""};
}

EventFormat::EventFormat(std::string text, const std::string& command, const std::string& directives)
    : m_text(std::move(text)) {
    for (std::size_t i = m_text.find('%'); i != std::string::npos; i = m_text.find('%', i + 2)) {
        if (i + 1 == m_text.size()) {
            throw usageError("--format: the format ends with '%' (write %% for a percent sign)");
        }
        if (m_text[i + 1] != '%' && directives.find(m_text[i + 1]) == std::string::npos) {
            throw usageError("--format: '%" + cutText(m_text.substr(i + 1), 1) + "' is not a directive of " + command +
                             " (" + listOf(directives, false) + ')');
        }
    }
}

std::string EventFormat::line(const EventTexts& event) const {
    std::string line;
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        if (m_text[i] != '%') {
            line += m_text[i];
        } else {
            ++i;
            line += m_text[i] == '%' ? "%" : event.*directiveOf(m_text[i]).text;
        }
    }
    return line;
}

Common::OptionReference addFormatOption(const Common::Command& command, std::string& format,
                                        const std::string& directives) {
    return command.addOption("--format", "FORMAT", format,
                             "print each line in this format: " + listOf(directives, true));
}

std::optional<EventFormat> parseFormat(const Output& output, const std::string& text, const std::string& command,
                                       const std::string& directives) {
    if (text.empty()) {
        return std::nullopt;
    }
    requireTextFormat(output, "--format");
    return EventFormat(text, command, directives);
}

void requireTextFormat(const Output& output, const std::string& option) {
    if (output.format() != Format::Text) {
        throw usageError(option + " excludes " + (output.format() == Format::Json ? "--json" : "--quiet"));
    }
}

std::string csvLine(const EventTexts& event) {
    std::string line;
    for (const Directive& directive : knownDirectives) {
        line += quoted(event.*directive.text) + ',';
    }
    line.pop_back();
    return line;
}

} // namespace Rynvelctl
