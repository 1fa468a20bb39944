// SPDX-License-Identifier: MIT
#include "Consistency.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Bits.h"

namespace Maps {

namespace {

/**
 * Returns the quoted name of an element. All elements of an array have the name of the array, and therefore share one
 * warning.
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
        checkNames("peripheral", device.peripherals, [](const Peripheral& p) { return p.name; });
        for (const Peripheral& peripheral : device.peripherals) {
            checkContent(peripheral.registers, peripheral.clusters);
        }
    }

private:
    /** Returns whether a list has elements and has not been checked yet. Elements of a map can share a list. */
    template <typename T>
    bool isNew(const SharedList<T>& list) {
        return !list.empty() && m_seen.insert(list.begin()).second;
    }

    template <typename T, typename NameOf>
    void checkNames(const std::string& kind, const SharedList<T>& elements, NameOf uniqueName) {
        std::set<std::string> names;
        for (const T& element : elements) {
            if (!names.insert(uniqueName(element)).second) {
                m_warnings.add(element.line, kind + " " + nameOf(element) + " has the same name as another one");
            }
        }
    }

    void checkContent(const SharedList<Register>& registers, const SharedList<Cluster>& clusters) {
        if (isNew(registers)) {
            checkRegisters(registers);
        }
        if (isNew(clusters)) {
            checkNames("cluster", clusters, [](const Cluster& c) { return c.name; });
            for (const Cluster& cluster : clusters) {
                checkContent(cluster.registers, cluster.clusters);
            }
        }
    }

    void checkRegisters(const SharedList<Register>& registers) {
        checkNames("register", registers, [](const Register& r) { return r.name + "\n" + r.alternateGroup; });
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
        checkNames("field", aRegister.fields, [](const Field& f) { return f.name; });
        std::vector<Extent<Field>> extents;
        for (const Field& field : aRegister.fields) {
            extents.push_back({field.lsb, field.msb, &field});
            if (field.msb >= aRegister.size) {
                m_warnings.add(field.line, "field " + nameOf(field) + " is outside the " +
                                               std::to_string(aRegister.size) + " bits of its register");
            }
            checkAccess(field, aRegister);
            for (const Enumeration& enumeration : field.enumerations) {
                checkValues(enumeration, field);
            }
        }
        warnOfOverlaps("field", std::move(extents), "");
    }

    void checkAccess(const Field& field, const Register& aRegister) {
        const std::string subject = "field " + nameOf(field) + " can be ";
        const std::string contradiction = ", but its register cannot (the access of the field is used)";
        if (isReadable(field.access) && !isReadable(aRegister.access)) {
            m_warnings.add(field.line, subject + "read" + contradiction);
        }
        if (isWritable(field.access) && !isWritable(aRegister.access)) {
            m_warnings.add(field.line, subject + "written" + contradiction);
        }
    }

    template <typename T>
    void warnOfOverlap(const std::string& kind, const Extent<T>& extent, const Extent<T>& other,
                       const std::string& reason) {
        const std::string with = kind + nameOf(*other.element) + reason;
        m_warnings.add(extent.element->line, kind + nameOf(*extent.element) + " overlaps " + with);
    }

    /** Compares each element with the earlier element that ends last. */
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
        std::set<std::string> names;
        std::set<std::pair<std::uint64_t, std::uint64_t>> values;
        for (const EnumeratedValue& value : enumeration.values) {
            if (value.value > highest) {
                m_warnings.add(value.line, "enumerated value '" + value.name + "' does not fit in the " +
                                               std::to_string(width) + " bits of field " + nameOf(field));
            }
            if (!value.name.empty() && !names.insert(value.name).second) {
                m_warnings.add(value.line, "enumerated value '" + value.name + "' has the same name as another one");
            }
            if (!value.isDefault && !values.emplace(value.value, value.mask).second) {
                m_warnings.add(value.line, "enumerated value '" + value.name + "' has the same value as another one");
            }
        }
    }

    Warnings& m_warnings;
    std::set<const void*> m_seen;
};

} // namespace

void checkConsistency(const Device& device, Warnings& warnings) { Consistency(warnings).check(device); }

} // namespace Maps
