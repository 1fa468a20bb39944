// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads XML elements, and warns about everything that is wrong or not used.
 */
#ifndef RYNVEL_MAPS_ELEMENT_H
#define RYNVEL_MAPS_ELEMENT_H

#include <algorithm>
#include <array>
#include <bitset>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Definition.h"
#include "Diagnostics.h"
#include "Limits.h"
#include "XmlDocument.h"

namespace Maps {

/**
 * The objects for reading a map. The document, `definitions` and `texts` must exist as long as a definition is used.
 */
struct Source {
    const XmlDocument& document;
    Warnings& warnings;
    const Limits& limits;
    std::deque<Definition>& definitions;
    /** The texts that the document contains in several pieces. */
    std::deque<std::string>& texts;
};

/** The words that an element may contain, each with its meaning. */
template <typename T, std::size_t count>
using Words = std::array<std::pair<std::string_view, T>, count>;

/** Returns whether two words are equal if you ignore case and every character that is not a letter. */
bool areAlike(std::string_view one, std::string_view other);

class Element {
public:
    Element(Source& source, const pugi::xml_node& node) : m_source(&source), m_node(node) {}

    Source& source() const { return *m_source; }
    const pugi::xml_node& node() const { return m_node; }
    std::string_view tag() const { return m_node.name(); }
    std::size_t line() const { return m_source->document.lineOf(m_node); }
    void warn(const std::string& text) const { m_source->warnings.add(line(), text); }

    /**
     * Returns the text without leading and trailing white space. Warns about an empty text, child elements and
     * attributes.
     */
    std::string_view text() const;

    /** Returns the text as one line. */
    std::string plainText() const;

    /**
     * Returns the text; empty, with a warning, if it is longer than 256 bytes. The limit is necessary because names are
     * copied often.
     */
    std::string_view shortText() const;

    /**
     * Returns the text as a name, with the limit of shortText(). Warns about characters other than letters, digits and
     * `_`, except for `%s` and `[%s]`.
     */
    std::string_view name() const;

    /** Returns the number; none, with a warning, for any other text. */
    std::optional<std::uint64_t> number() const;
    std::optional<bool> boolean() const;

    /**
     * Returns the meaning of the word that equals the text. If no word equals the text, returns the meaning of a word
     * for which areAlike() is true, and warns. If there is no such word, returns none, and warns.
     */
    template <typename T, std::size_t count>
    std::optional<T> word(const Words<T, count>& words) const {
        const std::string_view given = text();
        for (const auto& [word, value] : words) {
            if (word == given) {
                return value;
            }
        }
        for (const auto& [word, value] : words) {
            if (areAlike(word, given)) {
                warn(quoted(given) + " should be written '" + std::string(word) + "'");
                return value;
            }
        }
        if (!given.empty()) {
            warn(quoted(given) + " is not used (the element takes " + listOf(words) + ')');
        }
        return std::nullopt;
    }

    /** Returns the attribute derivedFrom; empty if it is missing or unusable. Warns about all other attributes. */
    std::string_view derivedFrom() const;

    /** Warns about attributes. */
    void expectNoAttributes() const;

    /** Warns about text between the child elements. */
    void expectNoText() const;

    /** Returns the tag and the quoted text, for a message. Shortens a text of more than 80 bytes. */
    std::string quoted(std::string_view text) const {
        return std::string(tag()) + " '" + std::string(text.substr(0, longestQuote)) + "'";
    }

private:
    static constexpr std::size_t longestQuote = 80;

    template <typename T, std::size_t count>
    static std::string listOf(const Words<T, count>& words) {
        std::string list;
        for (const auto& [word, value] : words) {
            list += (list.empty() ? "'" : ", '") + std::string(word) + "'";
        }
        return list;
    }

    std::string_view pathIn(const pugi::xml_attribute& attribute) const;
    void warnOfAttribute(const pugi::xml_attribute& attribute) const;

    Source* m_source;
    pugi::xml_node m_node;
};

/** The child elements that an element may have, each with the function that reads it into a target. */
template <typename Target>
class Tags {
public:
    struct Tag {
        std::string_view name;
        void (*read)(Target&, const Element&);
        bool isRepeatable = false;
    };

    Tags(std::initializer_list<std::vector<Tag>> groups) {
        for (const auto& group : groups) {
            std::copy(group.begin(), group.end(), std::back_inserter(m_tags));
        }
        std::sort(m_tags.begin(), m_tags.end(), [](const Tag& a, const Tag& b) { return a.name < b.name; });
    }

    /**
     * Reads all child elements. Leaves out unknown elements and repetitions that are not allowed, and warns about them.
     */
    void readInto(Target& target, const Element& element) const {
        element.expectNoText();
        std::bitset<mostTags> seen;
        for (const pugi::xml_node& node : element.node().children()) {
            if (node.type() == pugi::node_element) {
                readChild(target, Element(element.source(), node), seen);
            }
        }
    }

private:
    static constexpr std::size_t mostTags = 64;

    void readChild(Target& target, const Element& child, std::bitset<mostTags>& seen) const {
        const std::string_view name = child.tag();
        const auto tag =
            std::lower_bound(m_tags.begin(), m_tags.end(), name,
                             [](const Tag& known, std::string_view sought) { return known.name < sought; });
        if (tag == m_tags.end() || tag->name != name) {
            child.warn("element '" + std::string(name) + "' is not part of the format, and is not used");
            return;
        }
        const auto index = static_cast<std::size_t>(tag - m_tags.begin());
        if (seen.test(index) && !tag->isRepeatable) {
            child.warn("element '" + std::string(name) + "' occurs more than once: only the first is used");
            return;
        }
        seen.set(index);
        tag->read(target, child);
    }

    std::vector<Tag> m_tags;
};

} // namespace Maps

#endif
