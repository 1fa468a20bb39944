/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The writes of a command, for messages about the progress.
 */
#ifndef RYNVELCTL_WRITELIST_H
#define RYNVELCTL_WRITELIST_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "RegisterRange.h"
#include "WriteOutcome.h"

namespace Rynvelctl {

/** Registers and fields that a command writes one after the other. */
class WriteList {
public:
    /** The outcome of the first write after those that are done. */
    enum class Outcome { NotWritten, Unknown, Unconfirmed };

    WriteList() = default;
    WriteList(const WriteList&) = delete;
    WriteList& operator=(const WriteList&) = delete;
    virtual ~WriteList() = default;

    virtual std::size_t count() const = 0;

    /** Returns the maximum size of the result of pieces(). */
    virtual std::size_t longestText() const = 0;

    /**
     * Returns the end of a message that says which writes are done. A signal handler may call this function. The texts
     * are valid until the next call.
     *
     * @param done the number of writes that are done.
     */
    virtual Pieces pieces(std::size_t done, Outcome outcome) const = 0;
};

/** Writes that the user has named one by one. */
class NamedWrites : public WriteList {
public:
    /** @param names the registers and fields as the user gave them, in the order of the writes. */
    explicit NamedWrites(const std::vector<std::string>& names);

    std::size_t count() const override { return m_ends.size(); }
    std::size_t longestText() const override;
    Pieces pieces(std::size_t done, Outcome outcome) const override;

private:
    /**
     * Returns the names from position `begin` to before `end`, with commas between them; `noNames` if there are none.
     */
    std::string_view names(std::size_t begin, std::size_t end) const;

    std::string m_names;
    /** For each name, the position in m_names after it. */
    std::vector<std::size_t> m_ends;
};

/** Writes to consecutive registers. A message gives their number, because there may be too many names. */
class ConsecutiveWrites : public WriteList {
public:
    explicit ConsecutiveWrites(const RegisterRange& range);

    std::size_t count() const override { return m_range.count(); }
    std::size_t longestText() const override;
    Pieces pieces(std::size_t done, Outcome outcome) const override;

private:
    std::string_view numberText(std::size_t number) const;
    std::string_view addressText(std::size_t position) const;

    const RegisterRange m_range;
    /** The text that follows the number of writes. */
    const std::string m_total;
    /** The memory for texts, which a signal handler cannot allocate. @{ */
    mutable std::array<char, 16> m_number{};
    mutable std::array<char, 16> m_address{};
    /** @} */
};

} // namespace Rynvelctl

#endif
