// SPDX-License-Identifier: MIT
/**
 * @file
 * What a register map says, with everything resolved: arrays are expanded, and each element holds what it inherits.
 *
 * Offsets count from the element that encloses: those of registers in a cluster from the cluster. A number is the
 * file's own, even if it makes no sense for the element, such as a field above the bits of its register: the reader
 * warns of that.
 */
#ifndef RYNVEL_MAPS_MODEL_H
#define RYNVEL_MAPS_MODEL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "SharedList.h"

namespace Maps {

/** A text that is never changed, so that copies share it. */
class Text {
public:
    Text() = default;
    explicit Text(std::string text) : m_text(std::make_shared<const std::string>(std::move(text))) {}

    /** Empty where the file gives none. */
    const std::string& str() const {
        static const std::string none;
        return m_text ? *m_text : none;
    }

private:
    std::shared_ptr<const std::string> m_text;
};

enum class Access { ReadOnly, WriteOnly, ReadWrite, WriteOnce, ReadWriteOnce };

constexpr bool isReadable(Access access) { return access != Access::WriteOnly && access != Access::WriteOnce; }
constexpr bool isWritable(Access access) { return access != Access::ReadOnly; }

/** Which right an access needs. */
enum class Protection { Secure, NonSecure, Privileged };

/** What a read does to the bits that are read. */
enum class ReadAction { Clear, Set, Modify, ModifyExternal };

/** What a write makes of the written bits; Modify stores them. */
enum class ModifiedWrite {
    OneToClear,
    OneToSet,
    OneToToggle,
    ZeroToClear,
    ZeroToSet,
    ZeroToToggle,
    Clear,
    Set,
    Modify
};

/** Which values may be written. */
struct WriteConstraint {
    enum class Kind {
        /** The value that was read last. */
        WriteAsRead,
        EnumeratedValues,
        /** From `minimum` to `maximum`. */
        Range
    };
    Kind kind = Kind::Range;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
};

/** A value of a field that has a name. */
struct EnumeratedValue {
    /** Empty where the file gives none. */
    std::string name;
    Text description;
    std::uint64_t value = 0;
    /** The bits of the value that count: a binary value may leave others open. */
    std::uint64_t mask = 0;
    /** Whether it stands for all values that no other one describes; value and mask are 0 then. */
    bool isDefault = false;
    std::size_t line = 0;
};

/** Which accesses the names of values are for. */
enum class Usage { Read, Write, ReadWrite };

struct Enumeration {
    std::string name;
    /** The name for the type in a C header; empty where the file gives none. */
    std::string headerEnumName;
    Usage usage = Usage::ReadWrite;
    SharedList<EnumeratedValue> values;
};

/** An array of peripherals, clusters, registers or fields. */
struct Array {
    /** The name that its elements share, with %s for the index. */
    std::string name;
    /** The name for its type in C; empty where the file gives none. */
    std::string structName;
    std::uint64_t size = 0;
    /** From one element to the next: bytes, or bits for fields. */
    std::uint64_t increment = 0;
    /** The names of indexes; without values where the file gives none. */
    Enumeration indexNames;
};

/** What an element of an array has beside its own properties. In its description, %s stands for the index. */
struct ArrayElement {
    /** Null for what is not an element of an array. */
    std::shared_ptr<const Array> array;
    /** The position in the array, counted from 0. */
    std::uint64_t position = 0;
    /** The text in the name. */
    std::string index;
};

struct Field {
    std::string name;
    Text description;
    unsigned int lsb = 0;
    /** At least as high as lsb. */
    unsigned int msb = 0;
    Access access = Access::ReadWrite;
    std::optional<ReadAction> readAction;
    ModifiedWrite modifiedWrite = ModifiedWrite::Modify;
    std::optional<WriteConstraint> writeConstraint;
    SharedList<Enumeration> enumerations;
    ArrayElement arrayElement;
    std::size_t line = 0;
};

struct Register {
    std::string name;
    /** The name to show; empty where the file gives none. */
    std::string displayName;
    Text description;
    /** The register whose address it shares, and the group whose registers it replaces; each mostly empty. */
    std::string alternateRegister;
    std::string alternateGroup;
    std::uint64_t offset = 0;
    /** Bits. */
    unsigned int size = 32;
    Access access = Access::ReadWrite;
    std::optional<Protection> protection;
    /** The value after a reset, and the bits of it that are defined; none where the file gives none. */
    std::optional<std::uint64_t> resetValue;
    std::uint64_t resetMask = 0;
    std::optional<ReadAction> readAction;
    ModifiedWrite modifiedWrite = ModifiedWrite::Modify;
    std::optional<WriteConstraint> writeConstraint;
    SharedList<Field> fields;
    ArrayElement arrayElement;
    std::size_t line = 0;
};

/** Registers with an offset of their own. */
struct Cluster {
    std::string name;
    Text description;
    std::string alternateCluster;
    std::string headerStructName;
    std::uint64_t offset = 0;
    SharedList<Register> registers;
    SharedList<Cluster> clusters;
    ArrayElement arrayElement;
    std::size_t line = 0;
};

/** A range of addresses that a peripheral takes. */
struct AddressBlock {
    enum class Usage { Registers, Buffer, Reserved };
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    Usage usage = Usage::Registers;
    std::optional<Protection> protection;
};

struct Interrupt {
    std::string name;
    std::string description;
    std::int64_t value = 0;
};

struct Peripheral {
    std::string name;
    Text description;
    std::string alternatePeripheral;
    std::string headerStructName;
    /** What a viewer shows before and after the names of the registers. */
    std::string prependToName;
    std::string appendToName;
    std::uint64_t baseAddress = 0;
    SharedList<AddressBlock> addressBlocks;
    SharedList<Interrupt> interrupts;
    SharedList<Register> registers;
    SharedList<Cluster> clusters;
    ArrayElement arrayElement;
    std::size_t line = 0;
};

/** The root of a map. */
struct Device {
    std::string name;
    std::string version;
    Text description;
    /** Bits that one address selects. */
    std::uint64_t addressUnitBits = 8;
    /** Bits of the widest access. */
    std::uint64_t width = 32;
    SharedList<Peripheral> peripherals;
};

} // namespace Maps

#endif
