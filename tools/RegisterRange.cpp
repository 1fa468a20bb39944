// SPDX-License-Identifier: MIT
#include "RegisterRange.h"

#include <utility>

#include "Count.h"
#include "Failure.h"
#include "NumberArguments.h"

namespace Rynvelctl {

RegisterRange::RegisterRange(const Target& device, AddressUnit unit, const std::string& address)
    : m_device(&device), m_unit(unit), m_bits(device.width()) {
    const std::uint32_t number = parseNumber(unit == AddressUnit::Bytes ? "address" : "index", address);
    if (number % step() != 0) {
        throw usageError(device.name() + ": address " + address + " is not a multiple of " + std::to_string(step()) +
                         " (" + std::to_string(device.width()) + "-bit registers)");
    }
    m_index = number / step();
    requireAddresses();
}

RegisterRange::RegisterRange(const Target& device, AddressUnit unit, const std::string& first, const std::string& last)
    : RegisterRange(device, unit, first) {
    const std::uint32_t lastIndex = RegisterRange(device, unit, last).m_index;
    if (lastIndex < m_index) {
        throw usageError(device.name() + ": the range " + first + ".." + last +
                         " ends before it begins (give the lower address first)");
    }
    if (lastIndex - m_index >= maxRegisters) {
        throw usageError(device.name() + ": the range " + first + ".." + last + " has more than " +
                         std::to_string(maxRegisters) + " registers");
    }
    m_count = lastIndex - m_index + 1;
}

RegisterRange::RegisterRange(const Target& device, std::uint32_t index, std::string name, unsigned int bits)
    : m_device(&device), m_unit(AddressUnit::Bytes), m_name(std::move(name)), m_bits(bits), m_index(index) {
    requireAddresses();
}

RegisterRange RegisterRange::resized(std::uint32_t count) const {
    RegisterRange range = *this;
    range.m_bits = m_device->width();
    range.m_count = count;
    range.requireAddresses();
    return range;
}

RegisterRange RegisterRange::operator[](std::uint32_t position) const {
    RegisterRange range = *this;
    range.m_name.clear();
    range.m_bits = m_device->width();
    range.m_index += position;
    range.m_count = 1;
    return range;
}

void RegisterRange::requireAddresses() const {
    const std::uint64_t lastIndex = std::uint64_t{m_index} + m_count - 1;
    if (lastIndex != 0 && !isDeviceUnitKnown()) {
        throw usageError(
            m_device->name() +
            ": you can use only address 0, because the type on the server is unknown (give the type with --type)");
    }
    // For an SPI device, the byte address must also fit in 32 bits, because the library converts the index to a byte
    // address.
    const Common::DeviceTypeInfo& type = m_device->type;
    const std::uint32_t deviceStep = type.access == Common::AccessMethod::Spi ? bytes() : type.addressStride;
    if (lastIndex * step() > UINT32_MAX || lastIndex * deviceStep > UINT32_MAX) {
        throw usageError(m_device->name() + ": " + textOutside("the 32-bit address range"));
    }
}

bool RegisterRange::isInside(std::optional<std::uint32_t> mapSize) const {
    return !mapSize || (std::uint64_t{m_index} + m_count) * bytes() <= *mapSize;
}

void RegisterRange::requireInside(std::optional<std::uint32_t> mapSize) const {
    if (!isInside(mapSize)) {
        throw usageError(m_device->name() + ": " + textOutside("the map of " + Common::counted(*mapSize, "byte")));
    }
}

std::string RegisterRange::textOutside(const std::string& bounds) const {
    return m_count == 1 ? "register " + addressText() + " is outside " + bounds
                        : std::to_string(m_count) + " registers from " + addressText() + " extend beyond " + bounds;
}

std::string RegisterRange::addressText() const { return m_name.empty() ? numberText() : m_name; }

std::string RegisterRange::numberText() const {
    return m_unit == AddressUnit::Bytes ? hexadecimal(address()) : std::to_string(address());
}

} // namespace Rynvelctl
