// SPDX-License-Identifier: MIT
#include "AuditLines.h"

#include <cctype>
#include <cstddef>
#include <fstream>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

/** Reads a JSON object from its text. Each function returns the text that it has read, or an empty text. */
class Reader {
public:
    explicit Reader(const std::string& text) : m_text(text) {}

    AuditMembers object() {
        AuditMembers members;
        bool isValid = take('{');
        while (isValid && !atEnd()) {
            const std::string name = string();
            isValid = !name.empty() && take(':');
            const std::string contents = isValid ? value() : "";
            isValid = !contents.empty() && members.emplace(name.substr(1, name.size() - 2), contents).second;
            if (isValid && take('}')) {
                return atEnd() ? members : AuditMembers();
            }
            isValid = isValid && take(',');
        }
        return {};
    }

private:
    bool atEnd() const { return m_at == m_text.size(); }
    bool take(char expected) {
        const bool isThere = !atEnd() && m_text[m_at] == expected;
        m_at += isThere ? 1 : 0;
        return isThere;
    }

    std::string value() {
        if (m_text.compare(m_at, 4, "null") == 0) {
            m_at += 4;
            return "null";
        }
        if (!atEnd() && m_text[m_at] == '"') {
            return string();
        }
        return !atEnd() && m_text[m_at] == '[' ? array() : number();
    }

    std::string number() {
        const std::size_t begin = m_at;
        while (!atEnd() && std::isdigit(static_cast<unsigned char>(m_text[m_at])) != 0) {
            ++m_at;
        }
        return m_text.substr(begin, m_at - begin);
    }

    std::string array() {
        std::string text = "[";
        take('[');
        while (!take(']')) {
            const std::string item = number();
            if (item.empty() || (text.size() > 1 && text.back() != ',')) {
                return "";
            }
            text += item;
            text += take(',') ? "," : "";
        }
        return text.back() == ',' ? "" : text + ']';
    }

    std::string string() {
        const std::size_t begin = m_at;
        if (!take('"')) {
            return "";
        }
        while (!atEnd() && m_text[m_at] != '"') {
            if (m_text[m_at] < ' ' || m_text[m_at] > '~') {
                return "";
            }
            m_at += m_text[m_at] == '\\' ? 2U : 1U;
        }
        return take('"') ? m_text.substr(begin, m_at - begin) : "";
    }

    const std::string& m_text;
    std::size_t m_at = 0;
};

} // namespace

AuditMembers membersOf(const std::string& line) { return Reader(line).object(); }

std::vector<AuditMembers> auditIn(const std::string& path) {
    std::ostringstream contents;
    contents << std::ifstream(path).rdbuf();
    const std::string text = contents.str();
    EXPECT_TRUE(text.empty() || text.back() == '\n') << "the last line is incomplete";
    std::vector<AuditMembers> audit;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        audit.push_back(membersOf(line));
        EXPECT_FALSE(audit.back().empty()) << line;
    }
    return audit;
}

void expectNumbersWithoutGaps(const std::vector<AuditMembers>& lines) {
    std::size_t number = 0;
    for (const AuditMembers& line : lines) {
        ASSERT_EQ(line.at("number"), std::to_string(++number));
    }
}

std::vector<std::string> withoutNumbersAndTimes(const std::vector<std::string>& lines) {
    static const std::regex beginning(R"re(^\{"number":\d+,"time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z",)re");
    std::vector<std::string> rests;
    for (const std::string& line : lines) {
        EXPECT_FALSE(membersOf(line.substr(0, line.size() - 1)).empty()) << line;
        rests.push_back(std::regex_replace(line, beginning, "{"));
        EXPECT_NE(rests.back(), line);
    }
    return rests;
}

} // namespace RynvelTest
