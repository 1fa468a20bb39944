// SPDX-License-Identifier: MIT
#include "Element.h"

#include "ArrayNames.h"
#include "ScaledNumber.h"
#include "TextEncoding.h"

namespace Maps {

namespace {

bool isText(const pugi::xml_node& node) { return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata; }

bool isLetter(char character) { return std::isalpha(static_cast<unsigned char>(character)) != 0; }

bool isNamePart(char character) { return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_'; }

std::string lettersOf(std::string_view text) {
    std::string letters;
    for (const char character : text) {
        if (isLetter(character)) {
            letters.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(character))));
        }
    }
    return letters;
}

/** The text of an element, which consists of several pieces if the element contains comments. */
class JoinedText {
public:
    JoinedText(Source& source, std::string_view first) : m_source(source), m_text(first) {}

    void add(std::string_view piece) {
        if (m_text.empty()) {
            m_text = piece;
            return;
        }
        if (m_joined == nullptr) {
            m_joined = &m_source.texts.emplace_back(m_text);
        }
        m_text = m_joined->append(piece);
    }

    std::string_view text() const { return m_text; }

private:
    Source& m_source;
    std::string_view m_text;
    std::string* m_joined = nullptr;
};

} // namespace

bool areAlike(std::string_view one, std::string_view other) { return lettersOf(one) == lettersOf(other); }

std::string_view Element::text() const {
    expectNoAttributes();
    JoinedText pieces(*m_source, m_node.value());
    for (const pugi::xml_node& child : m_node.children()) {
        if (isText(child)) {
            pieces.add(child.value());
        } else {
            Element(*m_source, child)
                .warn("element '" + std::string(child.name()) + "' is not used (give only text in '" +
                      std::string(tag()) + "')");
            pieces.add(" ");
        }
    }
    const std::string_view text = trimmed(pieces.text());
    if (text.empty()) {
        warn("element '" + std::string(tag()) + "' is empty");
    }
    return text;
}

std::string Element::plainText() const { return oneLine(std::string(text())); }

std::string_view Element::shortText() const {
    constexpr std::size_t longest = 256;
    const std::string_view given = text();
    if (given.size() > longest) {
        warn(quoted(given) + " is longer than " + std::to_string(longest) + " characters, and is not used");
        return {};
    }
    return given;
}

std::string_view Element::name() const {
    const std::string_view name = shortText();
    const std::string plain = withoutPlaceholder(name);
    if (!std::all_of(plain.begin(), plain.end(), isNamePart)) {
        warn(quoted(name) + " has characters other than letters, digits and '_'");
    }
    return name;
}

std::optional<std::uint64_t> Element::number() const {
    const std::string_view given = text();
    const auto number = parseScaledNumber(given);
    if (!number && !given.empty()) {
        warn(quoted(given) + " is not a number of up to 64 bits, and is not used");
    }
    return number;
}

std::optional<bool> Element::boolean() const {
    const std::string_view given = text();
    const auto boolean = parseBoolean(given);
    if (!boolean && !given.empty()) {
        warn(quoted(given) + " is neither 'true' nor 'false', and is not used");
    }
    return boolean;
}

std::string_view Element::derivedFrom() const {
    std::string_view derivedFrom;
    for (const pugi::xml_attribute& attribute : m_node.attributes()) {
        if (std::string_view(attribute.name()) == "derivedFrom") {
            derivedFrom = pathIn(attribute);
        } else {
            warnOfAttribute(attribute);
        }
    }
    return derivedFrom;
}

std::string_view Element::pathIn(const pugi::xml_attribute& attribute) const {
    constexpr std::size_t longest = 1024;
    const std::string_view path = trimmed(attribute.value());
    if (path.empty() || path.size() > longest) {
        warn("attribute 'derivedFrom' is empty or longer than " + std::to_string(longest) +
             " characters, and is not used");
        return {};
    }
    return path;
}

void Element::expectNoAttributes() const {
    for (const pugi::xml_attribute& attribute : m_node.attributes()) {
        warnOfAttribute(attribute);
    }
}

void Element::warnOfAttribute(const pugi::xml_attribute& attribute) const {
    warn("attribute '" + std::string(attribute.name()) + "' of '" + std::string(tag()) +
         "' is not part of the format, and is not used");
}

void Element::expectNoText() const {
    bool hasText = !trimmed(m_node.value()).empty();
    for (const pugi::xml_node& child : m_node.children()) {
        hasText = hasText || isText(child);
    }
    if (hasText) {
        warn("text in '" + std::string(tag()) + "' is not used (only elements are allowed)");
    }
}

} // namespace Maps
