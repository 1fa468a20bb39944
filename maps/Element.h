// SPDX-License-Identifier: MIT
/**
 * @file
 * XML elements, read with a warning of everything that is wrong or not used.
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

/** What reading needs beside the elements, and what must live as long as the definitions. */
struct Source {
    const XmlDocument& document;
    Warnings& warnings;
    const Limits& limits;
    std::deque<Definition>& definitions;
    /** Texts that were in pieces. */
    std::deque<std::string>& texts;
};

/** The texts of an element, each with its meaning. */
template <typename T, std::size_t count>
using Words = std::array<std::pair<std::string_view, T>, count>;

/** Whether two words differ in nothing but case, hyphens and other characters that are not letters. */
bool areAlike(std::string_view one, std::string_view other);

class Element {
public:
    Element(Source& source, const pugi::xml_node& node) : m_source(&source), m_node(node) {}

    Source& source() const { return *m_source; }
    const pugi::xml_node& node() const { return m_node; }
    std::string_view tag() const { return m_node.name(); }
    std::size_t line() const { return m_source->document.lineOf(m_node); }
    void warn(const std::string& text) const { m_source->warnings.add(line(), text); }

    /** The text without the white space around it. Warns of an empty text, of elements in it and of attributes. */
    std::string_view text() const;

    /** The text as one line. */
    std::string plainText() const;

    /** The text, which is not used, with a warning, if it is long: names are copied often. */
    std::string_view shortText() const;

    /** The text as a name, which is not used if it is long. Warns of characters that a name in C may not have; `%s` and
     * `[%s]` are allowed. */
    std::string_view name() const;

    /** @return none, with a warning, for what is not a number. */
    std::optional<std::uint64_t> number() const;
    std::optional<bool> boolean() const;

    /** @return none, with a warning, for none of the words. Takes another spelling of a word, with a warning. */
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
            warn(quoted(given) + " is not known, and not used");
        }
        return std::nullopt;
    }

    /** The value of the attribute derivedFrom; empty without it. Warns of all other attributes. */
    std::string_view derivedFrom() const;

    /** Warns of attributes. */
    void expectNoAttributes() const;

    /** Warns of text beside the elements in this one. */
    void expectNoText() const;

    /** For messages: the tag and a text. */
    std::string quoted(std::string_view text) const {
        return std::string(tag()) + " '" + std::string(text.substr(0, longestQuote)) + "'";
    }

private:
    static constexpr std::size_t longestQuote = 80;

    std::string_view pathIn(const pugi::xml_attribute& attribute) const;
    void warnOfAttribute(const pugi::xml_attribute& attribute) const;

    Source* m_source;
    pugi::xml_node m_node;
};

/** The elements that may be in another one, and what each sets in a target. */
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

    /** Reads all that is in an element, with a warning of what is not used: the unknown, and repetitions. */
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
            child.warn("element '" + std::string(name) + "' is not known, and not used");
            return;
        }
        const auto index = static_cast<std::size_t>(tag - m_tags.begin());
        if (seen.test(index) && !tag->isRepeatable) {
            child.warn("element '" + std::string(name) + "' is there before, and this one is not used");
            return;
        }
        seen.set(index);
        tag->read(target, child);
    }

    std::vector<Tag> m_tags;
};

} // namespace Maps

#endif
