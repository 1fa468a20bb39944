// SPDX-License-Identifier: MIT
/**
 * @file
 * A register map as the Python package presents it: groups of registers, registers and fields.
 *
 * The views of a map share the ownership of the map.
 */
#ifndef RYNVEL_PYTHON_MAPVIEW_H
#define RYNVEL_PYTHON_MAPVIEW_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Deadline.h"
#include "DeviceRegisters.h"
#include "FieldWrite.h"
#include "MapSearch.h"

namespace RynvelPython {

/** The description of one device, with the map that contains it. */
class DeviceMap {
public:
    DeviceMap(std::shared_ptr<Maps::MapSearch> search, const Maps::DevicePeripheral& description, unsigned int width)
        : m_search(std::move(search)), m_description(description), m_registers(*description.peripheral, width) {}

    const Maps::DevicePeripheral& description() const { return m_description; }
    const Maps::Peripheral& peripheral() const { return *m_description.peripheral; }
    const Maps::DeviceRegisters& registers() const { return m_registers; }

private:
    std::shared_ptr<Maps::MapSearch> m_search;
    Maps::DevicePeripheral m_description;
    Maps::DeviceRegisters m_registers;
};

using SharedMap = std::shared_ptr<const DeviceMap>;

/**
 * Searches the map of a device.
 *
 * @param width the register width of the device in bits.
 * @param paths the map files and folders; empty to search the maps of the environment or of the machine.
 * @return the map; null if no file describes the device.
 * @throws Maps::UnusableMap if a map cannot be read, or if its addresses do not count bytes.
 * @throws Common::ReadTimedOut if a pipe does not deliver its map by the deadline.
 */
SharedMap loadMap(const std::string& deviceName, unsigned int width, std::vector<std::string> paths,
                  const Common::Deadline& deadline);

/** An element of an array: its name or position, and the texts that select the element as an index. */
template <typename Name>
struct Element {
    Name name;
    std::vector<std::string> indexes;
};

/** The write of fields or of a masked value, ready for the device. */
struct DeviceWrite {
    std::uint64_t value;
    /** The bits to write; none for a write without a mask. */
    std::optional<std::uint64_t> mask;
};

/** The part of a field write that does not depend on the value. */
struct FieldPlan {
    /** The value of the other bits that the write must set. */
    std::uint64_t kept;
    std::optional<std::uint64_t> mask;
    /** Whether the map restricts the values further than the width of the field does. */
    bool isConstrained;
};

/** A register of the map. */
class RegisterView {
public:
    RegisterView(SharedMap map, Maps::LocatedRegister located);

    const DeviceMap& map() const { return *m_map; }
    const Maps::LocatedRegister& located() const { return m_located; }
    const Maps::Register& contents() const { return *m_located.contents; }
    std::string obstacle() const { return m_map->registers().obstacleTo(m_located); }
    bool hasReadSideEffect() const { return m_word.hasReadSideEffect; }

    /** Returns an identifier, which is the same for all registers with the same list of fields. */
    std::uintptr_t shape() const { return reinterpret_cast<std::uintptr_t>(contents().fields.begin()); }

    /** Returns the position of the field that a name selects; none if the register has no such field. */
    std::optional<std::size_t> findField(const std::string& name) const;
    /** Returns the elements of an array of fields, by their positions; no elements if there is no such array. */
    std::vector<Element<std::size_t>> fieldArray(const std::string& name) const;
    std::vector<std::string> similarFields(const std::string& name) const;

    /** Plans the write of one field. @throws Maps::RefusedValue if the map does not allow any write of the field. */
    FieldPlan planField(std::size_t position) const;
    /** @throws Maps::RefusedValue if the map does not allow the number in the field. */
    void requireAllowedInField(std::size_t position, std::uint64_t number) const;
    /** Plans the write of several fields. @throws Maps::RefusedValue if the map does not allow the write. */
    DeviceWrite planFields(const std::vector<std::pair<std::size_t, std::uint64_t>>& numbers) const;
    /** Plans the write of the whole register, or of the bits of a mask. @throws Maps::RefusedValue if not allowed. */
    DeviceWrite planRegister(std::uint64_t value, std::optional<std::uint64_t> mask) const;
    /** Returns whether requireResultAllowed() needs the value of the register before the write. */
    bool dependsOnOtherBits(std::uint64_t mask) const { return Maps::dependsOnOtherBits(m_located, mask); }
    /** @throws Maps::RefusedValue if the map does not allow the value that a masked write results in. */
    void requireResultAllowed(const DeviceWrite& write, std::uint64_t before) const;
    /** @throws Maps::RefusedValue if the register cannot be read, or if a read has a side effect that is not allowed.
     */
    void requireReadable(bool allowsSideEffects) const;

private:
    void requireAccessible() const;
    /** Returns the field at a position. @throws std::out_of_range if there is none. */
    const Maps::Field& fieldAt(std::size_t position) const;

    SharedMap m_map;
    Maps::LocatedRegister m_located;
    Maps::Word m_word;
};

/** The peripheral itself, or a cluster of registers. */
class GroupView {
public:
    using Child = std::variant<std::monostate, RegisterView, GroupView>;

    explicit GroupView(SharedMap map);

    const DeviceMap& map() const { return *m_map; }
    /** Returns the path of the group with a dot after it; empty for the peripheral. */
    const std::string& prefix() const { return m_prefix; }
    const std::string& description() const { return m_description.str(); }

    /** Returns the register or the cluster that has exactly this name in the map. */
    Child child(const std::string& name) const;
    /** Returns the elements of an array of registers or clusters, by their names; no elements if there is none. */
    std::vector<Element<std::string>> array(const std::string& name) const;
    /** Returns what a path such as `CLUSTER.REGISTER` selects, and the position of the field, if it selects one. */
    std::optional<std::pair<RegisterView, std::optional<std::size_t>>> find(const std::string& path) const;
    std::vector<std::string> similar(const std::string& path) const;
    /** Returns the names of the registers, clusters and arrays in the group, in the order of the map. */
    std::vector<std::string> names() const;
    /** Returns the paths of all registers in the group, in the order of their offsets. */
    std::vector<std::string> paths() const;

private:
    GroupView(const GroupView& parent, const Maps::Cluster& cluster);

    SharedMap m_map;
    std::string m_prefix;
    std::uint64_t m_offset = 0;
    Maps::Text m_description;
    Maps::SharedList<Maps::Register> m_registers;
    Maps::SharedList<Maps::Cluster> m_clusters;
};

/** Returns the name of a value that is read from a field; none if the value has no name. */
std::optional<std::string> nameOfValue(const Maps::Field& field, std::uint64_t value);

/** Returns the names of the values that can be written to a field, and their numbers. */
std::vector<std::pair<std::string, std::uint64_t>> valuesOf(const Maps::Field& field);

} // namespace RynvelPython

#endif
