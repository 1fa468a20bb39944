// SPDX-License-Identifier: MIT
#include "ArrayNames.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "ScaledNumber.h"
#include "TextEncoding.h"

namespace Maps {

namespace {

constexpr std::string_view placeholder = "%s";
// The maximum length of an index in bytes. The limit is necessary, because the index replaces every placeholder in a
// name.
constexpr std::size_t longestIndex = 64;

bool isDecimal(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isOneLetter(std::string_view text) {
    return text.size() == 1 && std::isalpha(static_cast<unsigned char>(text.front())) != 0;
}

using MaybeIndexes = std::optional<Indexes>;

MaybeIndexes numbersBetween(std::string_view first, std::string_view last, std::uint64_t most) {
    const auto low = parseScaledNumber(first);
    const auto high = parseScaledNumber(last);
    if (!low || !high || *low > *high || *high - *low >= most) {
        return std::nullopt;
    }
    return Indexes(*low, *high - *low + 1);
}

MaybeIndexes lettersBetween(char first, char last) {
    const bool isOneCase =
        (std::isupper(static_cast<unsigned char>(first)) != 0) == (std::isupper(static_cast<unsigned char>(last)) != 0);
    if (first > last || !isOneCase) {
        return std::nullopt;
    }
    std::vector<std::string> indexes;
    for (char letter = first; letter <= last; ++letter) {
        indexes.emplace_back(1, letter);
    }
    return Indexes(std::move(indexes));
}

MaybeIndexes parseRange(std::string_view first, std::string_view last, std::uint64_t most) {
    if (isDecimal(first) && isDecimal(last)) {
        return numbersBetween(first, last, most);
    }
    return isOneLetter(first) && isOneLetter(last) ? lettersBetween(first.front(), last.front()) : std::nullopt;
}

MaybeIndexes parseList(std::string_view text, std::uint64_t most) {
    std::vector<std::string> indexes;
    while (indexes.size() < most) {
        const std::size_t comma = std::min(text.find(','), text.size());
        const std::string_view index = trimmed(text.substr(0, comma));
        if (index.empty() || index.size() > longestIndex) {
            return std::nullopt;
        }
        indexes.emplace_back(index);
        if (comma == text.size()) {
            return Indexes(std::move(indexes));
        }
        text.remove_prefix(comma + 1);
    }
    return std::nullopt;
}

} // namespace

bool hasPlaceholder(std::string_view text) { return text.find(placeholder) != std::string_view::npos; }

std::string withIndex(std::string_view text, std::string_view index) {
    std::string result;
    for (std::size_t position = text.find(placeholder); position != std::string_view::npos;
         position = text.find(placeholder)) {
        result.append(text.substr(0, position)).append(index);
        text.remove_prefix(position + placeholder.size());
    }
    return result.append(text);
}

std::string withoutPlaceholder(std::string_view name) {
    std::string rest(name);
    for (const std::string_view spelling : {std::string_view("[%s]"), placeholder}) {
        for (std::size_t at = rest.find(spelling); at != std::string::npos; at = rest.find(spelling)) {
            rest.erase(at, spelling.size());
        }
    }
    return rest;
}

Indexes::Indexes(std::uint64_t first, std::uint64_t size) : m_first(first), m_size(size) {}

Indexes::Indexes(std::vector<std::string> names)
    : m_size(names.size()), m_names(std::move(names)), m_known(m_names.begin(), m_names.end()) {}

std::string Indexes::at(std::uint64_t position) const {
    return m_names.empty() ? std::to_string(m_first + position) : m_names[static_cast<std::size_t>(position)];
}

bool Indexes::contains(const std::string& index) const {
    if (!m_names.empty()) {
        return m_known.count(index) > 0;
    }
    const auto number = parseScaledNumber(index);
    return number && *number >= m_first && *number - m_first < m_size && index == std::to_string(*number);
}

std::optional<Indexes> parseIndexes(std::string_view text, std::uint64_t most) {
    const std::size_t dash = text.find('-');
    if (text.find(',') == std::string_view::npos && dash != std::string_view::npos) {
        return parseRange(trimmed(text.substr(0, dash)), trimmed(text.substr(dash + 1)), most);
    }
    return parseList(text, most);
}

} // namespace Maps
