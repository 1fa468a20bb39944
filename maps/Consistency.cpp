// SPDX-License-Identifier: MIT
#include "Consistency.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Bits.h"
#include "Count.h"

namespace Maps {

namespace {

/**
 * Returns the quoted name of an element. For an element of an array, returns the name of the array, so that all
 * elements share one warning.
 */
template <typename T>
std::string nameOf(const T& element) {
    return "'" + (element.arrayElement.array ? element.arrayElement.array->name : element.name) + "'";
}

/** The range of bits or bytes that an element occupies. */
template <typename T>
struct Extent {
    std::uint64_t first;
    std::uint64_t last;
    const T* element;
};

class Consistency {
public:
    explicit Consistency(Warnings& warnings) : m_warnings(warnings) {}

    void check(const Device& device) {
        checkNames("peripheral", device.peripherals);
        for (const Peripheral& peripheral : device.peripherals) {
            checkContent(peripheral.registers, peripheral.clusters);
        }
    }

private:
    /**
     * Returns whether a list has elements and was not passed to this function before. Elements of a map can share a
     * list.
     */
    template <typename T>
    bool isNew(const SharedList<T>& list) {
        return !list.empty() && m_seen.insert(list.begin()).second;
    }

    /** The line numbers of elements, by a property that should be unique. */
    template <typename Key>
    using Lines = std::map<Key, std::size_t>;

    /** Returns the line of the earlier element with the same property. Without one, stores `line` and returns none. */
    template <typename Key>
    static std::optional<std::size_t> earlierLine(Lines<Key>& lines, const Key& key, std::size_t line) {
        const auto [first, isNew] = lines.emplace(key, line);
        return isNew ? std::nullopt : std::optional<std::size_t>(first->second);
    }

    void warnOfRepetition(const std::string& kind, const std::string& name, std::size_t line,
                          const std::string& property, std::size_t earlier, const std::string& consequence = "") {
        m_warnings.add(line, kind + " " + name + " has the same " + property + " as the " + kind + " in line " +
                                 std::to_string(earlier) + consequence);
    }

    template <typename T>
    void checkNames(const std::string& kind, const SharedList<T>& elements, const std::string& consequence = "") {
        Lines<std::string> lines;
        for (const T& element : elements) {
            if (const auto line = earlierLine(lines, element.name, element.line)) {
                warnOfRepetition(kind, nameOf(element), element.line, "name", *line, consequence);
            }
        }
    }

    void checkContent(const SharedList<Register>& registers, const SharedList<Cluster>& clusters) {
        if (isNew(registers)) {
            checkRegisters(registers);
        }
        if (isNew(clusters)) {
            checkNames("cluster", clusters);
            for (const Cluster& cluster : clusters) {
                checkContent(cluster.registers, cluster.clusters);
            }
        }
    }

    void checkRegisters(const SharedList<Register>& registers) {
        checkNames("register", registers, ": the name selects the register with the lowest offset");
        std::vector<Extent<Register>> extents;
        for (const Register& aRegister : registers) {
            if (aRegister.alternateGroup.empty() && aRegister.alternateRegister.empty()) {
                const std::uint64_t bytes = (aRegister.size + 7) / 8;
                extents.push_back(
                    {aRegister.offset, aRegister.offset + std::max<std::uint64_t>(bytes, 1) - 1, &aRegister});
            }
            if (isNew(aRegister.fields)) {
                checkFields(aRegister);
            }
        }
        warnOfOverlaps("register", std::move(extents), " and is not an alternative to it");
    }

    void checkFields(const Register& aRegister) {
        checkNames("field", aRegister.fields);
        std::vector<Extent<Field>> extents;
        for (const Field& field : aRegister.fields) {
            extents.push_back({field.lsb, field.msb, &field});
            if (field.msb >= aRegister.size) {
                m_warnings.add(field.line, "field " + nameOf(field) + " is outside the " +
                                               Common::counted(aRegister.size, "bit") + " of its register");
            }
            checkAccess(field, aRegister);
            for (const Enumeration& enumeration : field.enumerations) {
                checkValues(enumeration, field);
            }
        }
        warnOfOverlaps("field", std::move(extents), "");
    }

    void checkAccess(const Field& field, const Register& aRegister) {
        const std::string beginning = "field " + nameOf(field) + " can be ";
        const std::string contradiction = ", but its register cannot (the access of the field is used)";
        if (isReadable(field.access) && !isReadable(aRegister.access)) {
            m_warnings.add(field.line, beginning + "read" + contradiction);
        }
        if (isWritable(field.access) && !isWritable(aRegister.access)) {
            m_warnings.add(field.line, beginning + "written" + contradiction);
        }
    }

    template <typename T>
    void warnOfOverlap(const std::string& kind, const Extent<T>& extent, const Extent<T>& other,
                       const std::string& reason) {
        const std::string with = kind + nameOf(*other.element) + reason;
        m_warnings.add(extent.element->line, kind + nameOf(*extent.element) + " overlaps " + with);
    }

    /** Warns about each element that overlaps the earlier element with the highest end. */
    template <typename T>
    void warnOfOverlaps(const std::string& kind, std::vector<Extent<T>> extents, const std::string& reason) {
        std::stable_sort(extents.begin(), extents.end(),
                         [](const Extent<T>& a, const Extent<T>& b) { return a.first < b.first; });
        // A read-only element and a write-only element may overlap, so readable and writable elements are compared
        // separately.
        for (const auto isConcerned : {isReadable, isWritable}) {
            const Extent<T>* furthest = nullptr;
            for (const Extent<T>& extent : extents) {
                if (!isConcerned(extent.element->access)) {
                    continue;
                }
                if (furthest != nullptr && extent.first <= furthest->last) {
                    warnOfOverlap(kind + " ", extent, *furthest, reason);
                }
                if (furthest == nullptr || extent.last > furthest->last) {
                    furthest = &extent;
                }
            }
        }
    }

    void checkValues(const Enumeration& enumeration, const Field& field) {
        if (!isNew(enumeration.values)) {
            return;
        }
        const unsigned int width = field.msb - field.lsb + 1;
        const std::uint64_t highest = lowBits(width);
        for (const EnumeratedValue& value : enumeration.values) {
            if (value.value > highest) {
                m_warnings.add(value.line, "enumerated value '" + value.name + "' does not fit in the " +
                                               Common::counted(width, "bit") + " of field " + nameOf(field));
            }
        }
        checkRepetitions(enumeration);
    }

    void checkRepetitions(const Enumeration& enumeration) {
        const std::string kind = "enumerated value";
        Lines<std::string> names;
        Lines<std::pair<std::uint64_t, std::uint64_t>> values;
        for (const EnumeratedValue& value : enumeration.values) {
            const std::string name = "'" + value.name + "'";
            const auto sameName = value.name.empty() ? std::nullopt : earlierLine(names, value.name, value.line);
            if (sameName) {
                warnOfRepetition(kind, name, value.line, "name", *sameName);
            }
            const auto sameValue =
                value.isDefault ? std::nullopt : earlierLine(values, {value.value, value.mask}, value.line);
            if (sameValue) {
                warnOfRepetition(kind, name, value.line, "value", *sameValue);
            }
        }
    }

    Warnings& m_warnings;
    std::set<const void*> m_seen;
};

} // namespace

void checkConsistency(const Device& device, Warnings& warnings) { Consistency(warnings).check(device); }

} // namespace Maps
