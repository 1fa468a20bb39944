// SPDX-License-Identifier: MIT
/**
 * @file
 * The content of a register map, after the expansion of arrays. Each element has the properties that it inherits.
 *
 * An offset counts from the beginning of the enclosing element, for example of the cluster that contains a register.
 * Invalid numbers can remain, for example the bits of a field that is outside its register. The reader warns about
 * these numbers.
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

/** A constant text. Copies share the characters. */
class Text {
public:
    Text() = default;
    explicit Text(std::string text) : m_text(std::make_shared<const std::string>(std::move(text))) {}

    /** Returns the text; empty if the file gives none. */
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

/** The security or privilege level that an access requires. */
enum class Protection { Secure, NonSecure, Privileged };

/** The side effect of a read on the bits that are read. */
enum class ReadAction { Clear, Set, Modify, ModifyExternal };

/** The effect of a write on the written bits. `Modify` stores the written values in the bits. */
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

/** The values that may be written. */
struct WriteConstraint {
    enum class Kind {
        /** Only the value that was read last. */
        WriteAsRead,
        EnumeratedValues,
        /** The values from `minimum` to `maximum`. */
        Range
    };
    Kind kind = Kind::Range;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
};

/** A value of a field, with its name. */
struct EnumeratedValue {
    /** The name; empty if the file gives none. */
    std::string name;
    Text description;
    std::uint64_t value = 0;
    /** The bits that are compared with the value. A binary value in the file may leave the remaining bits open. */
    std::uint64_t mask = 0;
    /** Whether the name is for all values that have no other name. In that case, `value` and `mask` are 0. */
    bool isDefault = false;
    std::size_t line = 0;
};

/** The accesses for which the names of values are valid. */
enum class Usage { Read, Write, ReadWrite };

struct Enumeration {
    std::string name;
    /** The name of the type in a C header; empty if the file gives none. */
    std::string headerEnumName;
    Usage usage = Usage::ReadWrite;
    SharedList<EnumeratedValue> values;
};

/** An array of peripherals, clusters, registers or fields. */
struct Array {
    /** The name that the elements share, with %s for the index. */
    std::string name;
    /** The name of the type of an element in C; empty if the file gives none. */
    std::string structName;
    std::uint64_t size = 0;
    /** The distance from one element to the next, in bytes, or in bits for fields. */
    std::uint64_t increment = 0;
    /** The names of the indexes; without values if the file gives none. */
    Enumeration indexNames;
};

/** The position of an element in its array. In the description of the element, %s is the placeholder for the index. */
struct ArrayElement {
    /** The array; null if the element does not belong to an array. */
    std::shared_ptr<const Array> array;
    /** The number of the element in the array, counted from 0. */
    std::uint64_t position = 0;
    /** The text of the index in the name of the element. */
    std::string index;
};

struct Field {
    std::string name;
    Text description;
    unsigned int lsb = 0;
    /** The most significant bit, at least as high as lsb. */
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
    /** The name for users; empty if the file gives none. */
    std::string displayName;
    Text description;
    /** The name of the register whose address this register shares; usually empty. */
    std::string alternateRegister;
    /** The name of the group whose registers this register replaces; usually empty. */
    std::string alternateGroup;
    std::uint64_t offset = 0;
    /** The width in bits. */
    unsigned int size = 32;
    Access access = Access::ReadWrite;
    std::optional<Protection> protection;
    /** The value after a reset; none if the file gives no value. */
    std::optional<std::uint64_t> resetValue;
    /** The bits of the reset value that are defined. */
    std::uint64_t resetMask = 0;
    std::optional<ReadAction> readAction;
    ModifiedWrite modifiedWrite = ModifiedWrite::Modify;
    std::optional<WriteConstraint> writeConstraint;
    SharedList<Field> fields;
    ArrayElement arrayElement;
    std::size_t line = 0;
};

/** A group of registers with a common offset. */
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

/** A range of addresses that belongs to a peripheral. */
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
    /** The text that a viewer shows before the names of the registers. */
    std::string prependToName;
    /** The text that a viewer shows after the names of the registers. */
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
    /** The number of bits that one address selects. */
    std::uint64_t addressUnitBits = 8;
    /** The number of bits of the widest single access. */
    std::uint64_t width = 32;
    SharedList<Peripheral> peripherals;
};

} // namespace Maps

#endif
