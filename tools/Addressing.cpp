#include "Addressing.h"

#include <utility>

#include "Failure.h"
#include "Numbers.h"

namespace Rynvelctl {

Addressing::Addressing(std::string name, const Common::DeviceKind& kind, AddressUnit unit)
    : m_name(std::move(name)), m_kind(kind), m_unit(unit) {}

Place Addressing::locate(const std::string& text) const {
    const std::uint32_t number = parseNumber(m_unit == AddressUnit::Bytes ? "address" : "index", text);
    if (number % step() != 0) {
        throw wrongUsage(m_name + ": address " + text + " is no multiple of " + std::to_string(step()));
    }
    const Place place{number, number / step(), number / step() * m_kind.addressStep};
    requireAddresses(place, 1);
    return place;
}

void Addressing::requireAddresses(const Place& first, std::uint32_t count) const {
    const std::uint64_t lastIndex = std::uint64_t{first.index} + count - 1;
    if (lastIndex != 0 && !isStepKnown()) {
        throw wrongUsage(m_name + ": --type is needed for any address but 0: the type that the device has at its " +
                         "server decides what the address is there");
    }
    // What goes over SPI is the byte address, whatever the library is given.
    const std::uint32_t perRegister = m_kind.access == Common::Access::Spi ? bytes() : m_kind.addressStep;
    if (lastIndex * step() > UINT32_MAX || lastIndex * perRegister > UINT32_MAX) {
        throw wrongUsage(m_name + ": " + std::to_string(count) + " registers from " + text(first) +
                         " on go beyond the last address");
    }
}

void Addressing::requireInside(std::uint32_t mapSize, const Place& first, std::uint32_t count) const {
    if ((std::uint64_t{first.index} + count) * bytes() <= mapSize) {
        return;
    }
    const std::string registers = count == 1 ? "" : std::to_string(count) + " registers from ";
    const std::string verb = count == 1 ? " is" : " on are";
    throw wrongUsage(m_name + ": " + registers + text(first) + verb + " outside of its map of " +
                     std::to_string(mapSize) + " bytes");
}

Place Addressing::behind(const Place& first, std::uint32_t offset) const {
    return {first.number + offset * step(), first.index + offset, first.deviceAddress + offset * m_kind.addressStep};
}

std::string Addressing::text(const Place& place) const {
    return m_unit == AddressUnit::Bytes ? hexadecimal(place.number) : std::to_string(place.number);
}

} // namespace Rynvelctl
