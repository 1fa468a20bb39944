// SPDX-License-Identifier: MIT
#include "Addresses.h"

#include <cctype>
#include <string_view>
#include <utility>

#include "FieldValues.h"
#include "Number.h"
#include "NumberArguments.h"

namespace Rynvelctl {

namespace {

constexpr std::string_view rangeSeparator = "..";

/** Returns the texts before and after the separator of a range; none if the text has no separator. */
std::optional<std::pair<std::string, std::string>> splitRange(const std::string& text) {
    const std::size_t position = text.find(rangeSeparator);
    if (position == std::string::npos) {
        return std::nullopt;
    }
    return std::pair{text.substr(0, position), text.substr(position + rangeSeparator.size())};
}

bool beginsWithDigit(const std::string& text) { return std::isdigit(static_cast<unsigned char>(text.front())) != 0; }

} // namespace

Addressed Addresses::find(const std::string& text) {
    Addressed addressed = findPart(text);
    if (addressed.bits) {
        throw usageError(m_target.name() + ": " + text + " selects bits (give a register)");
    }
    return addressed;
}

Addressed Addresses::findPart(const std::string& text) {
    if (isRange(text)) {
        throw usageError(m_target.name() + ": '" + text + "' is a range of addresses (only read accepts a range)");
    }
    const auto bracketed = splitBrackets(text);
    if (!bracketed || !selectsBits(text, *bracketed)) {
        return findWithoutBits(text);
    }
    Addressed addressed = findWithoutBits(bracketed->before);
    if (addressed.named) {
        wholeOf(*addressed.named);
    }
    addressed.bits = parseBitRange(bracketed->inside, addressed.range.bits());
    return addressed;
}

Addressed Addresses::findWithoutBits(const std::string& text) {
    if (isAddress(text)) {
        return {RegisterRange(m_target, m_unit, text), std::nullopt};
    }
    const Selection selection = registerMapFor(text).find(text);
    return {selection.whole.range, selection};
}

Addressed Addresses::findRange(const std::string& text) {
    const auto ends = splitRange(text);
    if (!ends) {
        return findPart(text);
    }
    if (m_unit == AddressUnit::Bytes && !isRange(text)) {
        throw usageError(m_target.name() + ": '" + text +
                         "' is not a range of addresses (give numbers, such as 0x10..0x1c)");
    }
    return {RegisterRange(m_target, m_unit, ends->first, ends->second), std::nullopt};
}

bool Addresses::selectsBits(const std::string& text, const Bracketed& bracketed) {
    const bool isAfterNumber = Common::isNumber(bracketed.before, Common::anyNotation);
    if (!bracketed.hasRange()) {
        if (isAfterNumber && Common::isNumber(bracketed.inside, Common::anyNotation)) {
            throw usageError(m_target.name() + ": '" + text + "' is not an address (" + oneBitOf(bracketed) + ')');
        }
        return false;
    }
    if (isAfterNumber || !isName(text)) {
        return true;
    }
    if (isName(bracketed.before)) {
        const std::string bits = '[' + bracketed.inside + ']';
        throw usageError(m_target.name() + ": '" + text + "' is a register and also selects bits of register " +
                         bracketed.before + " (give " + hexadecimalAddress(text) + " for the register, or " +
                         hexadecimalAddress(bracketed.before) + bits + " for the bits)");
    }
    return false;
}

std::string Addresses::hexadecimalAddress(const std::string& name) {
    return hexadecimal(registerMapFor(name).find(name).whole.range.address());
}

bool Addresses::isRange(const std::string& text) {
    const auto ends = splitRange(text);
    return ends && Common::isNumber(ends->first, Common::anyNotation) &&
           Common::isNumber(ends->second, Common::anyNotation);
}

bool Addresses::isRegister(const std::string& text) {
    return Common::isNumber(text, Common::anyNotation) || isName(text);
}

bool Addresses::isName(const std::string& text) {
    return m_unit == AddressUnit::Bytes && findMap() != nullptr &&
           Maps::findRegister(*m_map->description().peripheral, text);
}

Addressed Addresses::findWhole(const std::string& text) {
    Addressed addressed = find(text);
    if (addressed.named) {
        wholeOf(*addressed.named);
    }
    return addressed;
}

bool Addresses::isAddress(const std::string& text) {
    if (m_unit == AddressUnit::Registers || Common::isNumber(text, Common::anyNotation)) {
        return true;
    }
    return beginsWithDigit(text) && findMap() == nullptr;
}

const RegisterMap* Addresses::findMap() {
    if (m_map == nullptr) {
        m_map = m_context.findRegisterMap(m_target);
    }
    return registerMap();
}

const RegisterMap& Addresses::registerMapFor(const std::string& name) {
    if (findMap() == nullptr) {
        throw usageError(m_target.name() + ": '" + name +
                         "' is not an address, and no register map describes the device (give a map with --map)");
    }
    return *m_map;
}

void requireReadable(const Addressed& addressed) {
    if (!addressed.named) {
        return;
    }
    requireReadable(*addressed.named);
    const AddressedRegister& whole = addressed.named->whole;
    if (addressed.bits && (addressed.bits->mask() & Maps::readableBits(whole.contents())) == 0) {
        requireBitsReadable(whole, addressed.bits->mask());
    }
}

void requireHarmlessRead(const Addressed& addressed) {
    if (addressed.named) {
        requireHarmlessRead(addressed.named->whole, "--with-side-effects reads it");
    }
}

Reading readingOf(const Addressed& addressed, std::uint32_t value) {
    if (addressed.bits) {
        return BitsReading{addressed.range, *addressed.bits, addressed.bits->in(value)};
    }
    if (!addressed.named) {
        return RegisterValue{addressed.range, value, {}};
    }
    if (addressed.field() != nullptr) {
        return FieldReading{addressed.range, Maps::decode(*addressed.field(), value)};
    }
    return decoded(addressed.named->whole, value);
}

RegisterValue decoded(const AddressedRegister& whole, std::uint32_t value) {
    const auto bits = static_cast<std::uint32_t>(Maps::bitsOf(whole.contents()));
    return {whole.range, value & bits, Maps::decode(whole.contents(), value)};
}

} // namespace Rynvelctl
