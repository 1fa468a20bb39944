// SPDX-License-Identifier: MIT
#include "BitRange.h"

#include "Count.h"
#include "Failure.h"
#include "NumberArguments.h"

namespace Rynvelctl {

std::string BitRange::text() const { return '[' + std::to_string(msb) + ':' + std::to_string(lsb) + ']'; }

unsigned int parseBit(const std::string& text, unsigned int bits) {
    const std::uint32_t bit = parseNumber("bit", text);
    if (bit >= bits) {
        throw usageError("bit " + text + " is outside the " + Common::counted(bits, "bit") + " of the register");
    }
    return bit;
}

BitRange parseBitRange(const std::string& text, unsigned int bits) {
    const std::size_t colon = text.find(':');
    if (colon == 0 || colon >= text.size() - 1) {
        throw usageError('\'' + text + "' is not a range of bits (give the highest and the lowest bit, such as 7:4)");
    }
    const BitRange range{parseBit(text.substr(0, colon), bits), parseBit(text.substr(colon + 1), bits)};
    if (range.msb < range.lsb) {
        throw usageError('\'' + text + "' does not begin with the highest bit (give " + std::to_string(range.lsb) +
                         ':' + std::to_string(range.msb) + ')');
    }
    return range;
}

std::string oneBitOf(const Bracketed& bracketed) {
    const std::string& bit = bracketed.inside;
    return "give " + bracketed.before + '[' + bit + ':' + bit + "] for bit " + bit;
}

std::optional<Bracketed> splitBrackets(const std::string& text) {
    const std::size_t bracket = text.rfind('[');
    if (bracket == std::string::npos || bracket == 0 || text.back() != ']') {
        return std::nullopt;
    }
    return Bracketed{text.substr(0, bracket), text.substr(bracket + 1, text.size() - bracket - 2)};
}

} // namespace Rynvelctl
