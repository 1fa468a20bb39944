// SPDX-License-Identifier: MIT
#include "BitSelection.h"

#include <algorithm>
#include <string_view>

#include "Number.h"

namespace Rynvelctl {

namespace {

class BitCollector {
public:
    explicit BitCollector(const Addressed& addressed) : m_addressed(addressed) {}

    void add(const std::string& entry) {
        if (entry.empty()) {
            throw refusal(
                "the list of bits has an empty entry (give a bit, a range of bits or a field between commas)");
        }
        if (entry.find(':') != std::string::npos) {
            add(parseBitRange(entry, bits()), entry);
        } else if (Common::isNumber(entry, Common::anyNotation)) {
            requireNotAField(entry);
            const unsigned int bit = parseBit(entry, bits());
            add(BitRange{bit, bit}, entry);
        } else {
            requireNoMistake(entry);
            addField(entry);
        }
    }

    BitSelection result() const { return m_hasOnlyFields ? m_selection : BitSelection{m_selection.mask, {}}; }

private:
    unsigned int bits() const { return m_addressed.range.bits(); }

    Failure refusal(const std::string& problem) const {
        return usageError(m_addressed.range.device().name() + ": " + problem);
    }

    void add(std::uint32_t mask, const std::string& entry) {
        if ((m_selection.mask & mask) != 0) {
            throw refusal('\'' + entry + "' selects a bit that is already selected (select each bit once)");
        }
        m_selection.mask |= mask;
    }

    void add(const BitRange& range, const std::string& entry) {
        add(range.mask(), entry);
        m_hasOnlyFields = false;
    }

    /**
     * @throws Failure for an entry such as 4-7 or 4..7, which the user probably means as a range of bits, and for a
     * blank.
     */
    void requireNoMistake(const std::string& entry) const {
        if (isField(entry)) {
            return;
        }
        for (const std::string_view separator : {"..", "-"}) {
            const std::size_t position = std::min(entry.find(separator), entry.size());
            const std::string first = entry.substr(0, position);
            const std::string last = entry.substr(std::min(position + separator.size(), entry.size()));
            if (Common::isNumber(first, Common::anyNotation) && Common::isNumber(last, Common::anyNotation)) {
                const unsigned int one = parseBit(first, bits());
                const unsigned int other = parseBit(last, bits());
                throw refusal('\'' + entry + "' is not a range of bits (give " + std::to_string(std::max(one, other)) +
                              ':' + std::to_string(std::min(one, other)) + ')');
            }
        }
        if (entry.find_first_of(" \t") != std::string::npos) {
            throw refusal('\'' + entry + "' contains a blank (separate the entries of the list only with commas)");
        }
    }

    void addField(const std::string& name) {
        if (!m_addressed.named) {
            throw refusal('\'' + name +
                          "' is not a bit or a range of bits (give the name of the register to select fields)");
        }
        const AddressedRegister& whole = m_addressed.named->whole;
        const Maps::Field& field =
            allowed(whole, [&]() -> const Maps::Field& { return Maps::findWritable(whole.located, name); });
        add(static_cast<std::uint32_t>(Maps::maskOf(field)), name);
        m_selection.fields.push_back(&field);
    }

    bool isField(const std::string& name) const {
        return m_addressed.named && Maps::findField(m_addressed.named->whole.contents(), name) != nullptr;
    }

    void requireNotAField(const std::string& number) const {
        if (isField(number)) {
            throw refusal('\'' + number + "' is a bit and also a field of register " + m_addressed.named->name() +
                          " (give the range " + number + ':' + number + " for the bit, or the range of the field)");
        }
    }

    const Addressed& m_addressed;
    BitSelection m_selection;
    bool m_hasOnlyFields = true;
};

} // namespace

BitSelection parseBits(const Addressed& addressed, const std::string& list) {
    BitCollector collector(addressed);
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = list.find(',', begin);
        collector.add(list.substr(begin, end - begin));
    }
    return collector.result();
}

} // namespace Rynvelctl
