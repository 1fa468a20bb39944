// SPDX-License-Identifier: MIT
#include "WriteList.h"

#include <algorithm>
#include <charconv>

#include "Count.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

constexpr std::string_view nameSeparator = ", ";
constexpr std::string_view writtenWord = "written";

std::string_view textOf(WriteList::Outcome outcome) {
    constexpr std::array<std::string_view, 3> texts{"not written", unknown, unconfirmed};
    return texts[static_cast<std::size_t>(outcome)];
}

} // namespace

NamedWrites::NamedWrites(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        m_names += (m_ends.empty() ? "" : nameSeparator);
        m_names += printable(name);
        m_ends.push_back(m_names.size());
    }
}

std::size_t NamedWrites::longestText() const {
    constexpr std::size_t longestOther = 128;
    return m_names.size() + longestOther;
}

Pieces NamedWrites::pieces(std::size_t done, Outcome outcome) const {
    if (done == count()) {
        return {" (", writtenWord, ": ", names(0, count()), ")"};
    }
    const std::string_view name = names(done, done + 1);
    if (count() == 1) {
        return {" (", textOf(outcome), ": ", name, ")"};
    }
    return piecesOf({writtenWord, names(0, done), textOf(outcome), name, names(done + 1, count())});
}

std::string_view NamedWrites::names(std::size_t begin, std::size_t end) const {
    if (begin == end) {
        return noNames;
    }
    const std::size_t first = begin == 0 ? 0 : m_ends[begin - 1] + nameSeparator.size();
    return std::string_view(m_names).substr(first, m_ends[end - 1] - first);
}

ConsecutiveWrites::ConsecutiveWrites(const RegisterRange& range)
    : m_range(range), m_total(" of " + Common::counted(range.count(), "register") + " written") {}

std::size_t ConsecutiveWrites::longestText() const {
    constexpr std::size_t longest = 128;
    return longest;
}

Pieces ConsecutiveWrites::pieces(std::size_t done, Outcome outcome) const {
    // The command does not read these registers back, so a successful write is done.
    const bool isWritten = outcome == Outcome::Unconfirmed;
    const std::size_t position = isWritten ? done + 1 : done;
    if (position == count()) {
        return {" (", numberText(position), m_total, ")"};
    }
    const std::string_view word = outcome == Outcome::Unknown ? unknown : "first not written";
    return {" (", numberText(position), m_total, "; ", word, ": ", addressText(position), ")"};
}

std::string_view ConsecutiveWrites::numberText(std::size_t number) const {
    char* const begin = m_number.data();
    const char* const end = std::to_chars(begin, begin + m_number.size(), number).ptr;
    return {begin, static_cast<std::size_t>(end - begin)};
}

std::string_view ConsecutiveWrites::addressText(std::size_t position) const {
    const std::uint32_t address = m_range.addressAt(static_cast<std::uint32_t>(position));
    char* const begin = m_address.data();
    char* const last = begin + m_address.size();
    if (m_range.unit() == AddressUnit::Registers) {
        return {begin, static_cast<std::size_t>(std::to_chars(begin, last, address).ptr - begin)};
    }
    constexpr std::string_view zeros = "0x00000000";
    std::array<char, 8> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), address, 16).ptr;
    std::copy(zeros.begin(), zeros.end(), begin);
    std::copy_backward(digits.cbegin(), end, begin + zeros.size());
    return {begin, zeros.size()};
}

} // namespace Rynvelctl
