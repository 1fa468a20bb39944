// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Addresses.h"
#include "Commands.h"
#include "FieldWrite.h"
#include "Number.h"
#include "NumberArguments.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "ResultCheck.h"
#include "WriteProgress.h"

namespace Rynvelctl {

namespace {

struct WriteOptions : RegisterOptions {
    std::vector<std::string> values;
    std::string mask;
    bool verifies = false;
};

/** A write. It includes the bits that the program adds to protect other fields. */
struct PlannedWrite {
    /** The value for the device, and its mask. */
    std::uint32_t value;
    std::optional<std::uint32_t> mask;
    /**
     * The value and mask that the user gave, for `--verify` and the output. `value` and `mask` may also cover other
     * fields.
     */
    WrittenValue given;
    /** Whether the command checks before the write that the register map allows the resulting value. */
    bool checksResult = false;
};

std::uint32_t narrow(std::uint64_t value) { return static_cast<std::uint32_t>(value); }

/** Builds the plan from the command line. */
class Planner {
public:
    Planner(Addresses& addresses, const Addressed& addressed, const WriteOptions& options)
        : m_addresses(addresses), m_addressed(addressed), m_options(options) {}

    PlannedWrite plan() const {
        if (m_addressed.field() != nullptr) {
            return planFields({{m_addressed.field(), onlyValue()}}, Maps::WriteForm::FieldName);
        }
        return isAssignment(m_options.values.front()) ? planFields(assignments(), Maps::WriteForm::FieldList)
                                                      : planRegister();
    }

private:
    static bool isAssignment(const std::string& word) { return word.find('=') != std::string::npos; }

    const Target& device() const { return m_addressed.range.device(); }

    Failure refusal(const std::string& problem) const { return usageError(device().name() + ": " + problem); }

    const std::string& onlyValue() const {
        if (m_options.values.size() > 1) {
            const std::string& second = m_options.values[1];
            throw refusal("'" + second + "' is a second value (give one value, " +
                          (isAssignment(second) ? "FIELD=VALUE for each field, or ADDRESS=VALUE for each register)"
                                                : "or FIELD=VALUE for each field)"));
        }
        return m_options.values.front();
    }

    Maps::Assignment assignment(const std::string& word) const {
        const std::size_t equalsSign = std::min(word.find('='), word.size());
        if (equalsSign == 0 || equalsSign + 1 >= word.size()) {
            throw refusal("'" + word + "' does not assign a value to a field (give FIELD=VALUE)");
        }
        return {word.substr(0, equalsSign), word.substr(equalsSign + 1)};
    }

    /**
     * Calls a function with the register that the user named.
     *
     * @throws Failure if the register map refuses the operation.
     */
    template <typename Function>
    auto allowed(const Function& function) const {
        const AddressedRegister& whole = m_addressed.named->whole;
        return Rynvelctl::allowed(whole, [&] { return function(whole); });
    }

    /** @throws Failure if a word assigns another register instead of a field. */
    void requireField(const std::string& word, const std::string& field) const {
        const auto& named = m_addressed.named;
        const bool isField = named && Maps::findField(named->whole.contents(), field) != nullptr;
        // If the address is a number, the command does not read register maps.
        const bool isRegister = named ? m_addresses.isRegister(field) : Common::isNumber(field, Common::anyNotation);
        if (isRegister && !isField) {
            throw refusal("'" + word + "' assigns a register and not a field of " + m_addressed.range.addressText() +
                          " (to write several registers, give ADDRESS=VALUE for each)");
        }
    }

    std::vector<Maps::FieldAssignment> assignments() const {
        if (!m_addressed.named) {
            const std::string& word = m_options.values.front();
            requireField(word, word.substr(0, word.find('=')));
            throw refusal("'" + word + "' assigns a field of address " + m_addressed.range.addressText() +
                          " (give the name of the register)");
        }
        std::vector<Maps::Assignment> assignments;
        for (const std::string& word : m_options.values) {
            assignments.push_back(assignment(word));
            requireField(word, assignments.back().field);
        }
        return allowed(
            [&assignments](const AddressedRegister& whole) { return Maps::findFields(whole.located, assignments); });
    }

    PlannedWrite planFields(const std::vector<Maps::FieldAssignment>& assignments, Maps::WriteForm form) const {
        if (!m_options.mask.empty()) {
            throw usageError("--mask: the fields already select the bits to write (leave out --mask)");
        }
        const Maps::FieldWrite write = allowed([&](const AddressedRegister& whole) {
            return Maps::planWrite(whole.located, assignments, whole.word, form);
        });
        const auto mask = write.isWhole ? std::nullopt : std::optional<std::uint32_t>(narrow(write.written.mask));
        return {narrow(write.written.value),
                mask,
                {m_addressed.range, narrow(write.assigned.value), narrow(write.assigned.mask), write.fields}};
    }

    PlannedWrite planRegister() const {
        const unsigned int width = m_addressed.range.bits();
        const std::uint32_t value = parseValue("value", onlyValue(), width);
        std::optional<std::uint32_t> mask;
        if (!m_options.mask.empty()) {
            mask = parseMask(m_options.mask, width);
        }
        const WrittenValue given{m_addressed.range, value & mask.value_or(UINT32_MAX), mask, {}};
        if (m_addressed.named) {
            requireAllowed(value, mask);
        }
        return m_addressed.named && mask ? planMasked(given) : PlannedWrite{value, mask, given};
    }

    PlannedWrite planMasked(const WrittenValue& given) const {
        const Maps::MaskedValue written = allowed([&given](const AddressedRegister& whole) {
            return Maps::planMaskedWrite(whole.located, {given.value, *given.mask}, whole.word);
        });
        return {narrow(written.value), narrow(written.mask), given, true};
    }

    void requireAllowed(std::uint32_t value, std::optional<std::uint32_t> mask) const {
        const AddressedRegister& whole = m_addressed.named->whole;
        Rynvelctl::requireAllowed(whole, {value, mask.value_or(UINT32_MAX)});
        // A masked write also reads the register.
        if (mask) {
            requireReadable(*m_addressed.named);
            requireNoReadEffect(whole, "--mask");
        }
    }

    Addresses& m_addresses;
    const Addressed& m_addressed;
    const WriteOptions& m_options;
};

/** @throws Failure if a write does not store its bits in a register or a field. */
void requireStored(Maps::ModifiedWrite modifiedWrite, const std::string& object, const Target& device) {
    if (modifiedWrite != Maps::ModifiedWrite::Modify) {
        throw usageError(device.name() + ": a write does not store the value in " + object + " (leave out --verify)");
    }
}

/** Returns the fields that a write changes: those that the user gave, or those with bits of the value. */
std::vector<const Maps::Field*> fieldsWritten(const Maps::Register& contents, const WrittenValue& written) {
    std::vector<const Maps::Field*> fields;
    for (const Maps::FieldValue& value : written.fields) {
        fields.push_back(value.field);
    }
    for (const Maps::Field& field : contents.fields) {
        if (written.fields.empty() && Maps::isWritable(field.access) && Maps::isInside(field, contents) &&
            (Maps::maskOf(field) & written.mask.value_or(UINT32_MAX)) != 0) {
            fields.push_back(&field);
        }
    }
    return fields;
}

/** @throws Failure if, according to the map, reading the register back does not return the written bits. */
void requireVerifiable(const Addressed& addressed, const PlannedWrite& plan) {
    if (!addressed.named) {
        return;
    }
    const AddressedRegister& whole = addressed.named->whole;
    const Target& device = whole.range.device();
    requireReadable({whole, nullptr});
    requireNoReadEffect(whole, "--verify");
    if (plan.given.fields.empty()) {
        requireStored(whole.contents().modifiedWrite, "register " + whole.name(), device);
    }
    for (const Maps::Field* const field : fieldsWritten(whole.contents(), plan.given)) {
        const Selection selection{whole, field};
        requireReadable(selection);
        requireStored(field->modifiedWrite, "field " + selection.name(), device);
    }
}

/**
 * Reads a register back.
 *
 * @param comparable the bits to compare. Bits that were not written are not compared.
 * @throws Failure if a compared bit differs.
 */
void verify(OpenDevice& device, const WrittenValue& written, std::uint32_t comparable) {
    const RegisterRange& range = written.range;
    const unsigned int bits = range.bits();
    const std::uint32_t found = device.read(range) & maxValue(bits);
    const std::uint32_t mask = written.mask.value_or(maxValue(bits)) & comparable;
    if ((found & mask) != (written.value & mask)) {
        const std::string masked = written.mask ? " with mask " + hexadecimal(*written.mask, bits) : "";
        throw Failure(ExitStatus::Failed, range.device().name() + ": " + range.addressText() + " holds " +
                                              hexadecimal(found, bits) + " after " + hexadecimal(written.value, bits) +
                                              " was written" + masked);
    }
}

/** A write that the register map allows. */
struct CheckedWrite {
    /** The register or field, as the user typed it. */
    std::string name;
    Addressed addressed;
    PlannedWrite plan;
};

/** @throws Failure if an address selects bits or several registers, which one value cannot write. */
Addressed findRegisterOrField(Addresses& addresses, const WriteOptions& options) {
    if (Addresses::isRange(options.address)) {
        throw usageError(options.name + ": '" + options.address +
                         "' is a range of addresses (to write one value to several registers, use fill)");
    }
    Addressed addressed = addresses.findPart(options.address);
    if (addressed.bits) {
        throw usageError(options.name + ": " + options.address +
                         " selects bits (give the register and --mask, or use set and clear)");
    }
    return addressed;
}

CheckedWrite checked(Addresses& addresses, const WriteOptions& options) {
    const Addressed addressed = findRegisterOrField(addresses, options);
    const PlannedWrite plan = Planner(addresses, addressed, options).plan();
    if (options.verifies) {
        requireVerifiable(addressed, plan);
    }
    return {options.address, addressed, plan};
}

/** Returns the options of the single write that an assignment to a register or a field describes. */
WriteOptions optionsFor(const std::string& assignment, const WriteOptions& options) {
    const std::size_t equalsSign = assignment.find('=');
    // Does not copy all options, because they contain all assignments of a list, which may be long.
    WriteOptions single;
    single.name = options.name;
    single.usesIndex = options.usesIndex;
    single.verifies = options.verifies;
    single.address = assignment.substr(0, equalsSign);
    single.values = {equalsSign == std::string::npos ? "" : assignment.substr(equalsSign + 1)};
    const std::string& value = single.values.front();
    if (single.address.empty() || value.empty() || value.find('=') != std::string::npos) {
        throw usageError(options.name + ": '" + assignment +
                         "' does not assign a value to a register or a field (give ADDRESS=VALUE)");
    }
    return single;
}

/** Finds a register by the name of one of its fields. */
class FieldOwners {
public:
    /** @param whole must outlive this object. */
    void add(const AddressedRegister& whole) {
        // Skips fields that are already known: the elements of an array share their fields, and a list may write a
        // register many times.
        if (!m_known.insert(whole.contents().fields.begin()).second) {
            return;
        }
        bool hasArray = false;
        for (const Maps::Field& field : whole.contents().fields) {
            m_byField.emplace(field.name, &whole);
            hasArray = hasArray || field.arrayElement.array != nullptr;
        }
        if (hasArray) {
            m_withArrays.push_back(&whole);
        }
    }

    /** Returns a register that has a field of this name; null if there is none. */
    const AddressedRegister* find(const std::string& field) const {
        const auto found = m_byField.find(field);
        if (found != m_byField.end()) {
            return found->second;
        }
        const auto hasElement = [&field](const AddressedRegister* whole) {
            return Maps::findField(whole->contents(), field) != nullptr;
        };
        const auto other = std::find_if(m_withArrays.begin(), m_withArrays.end(), hasElement);
        return other == m_withArrays.end() ? nullptr : *other;
    }

private:
    std::unordered_set<const Maps::Field*> m_known;
    std::unordered_map<std::string, const AddressedRegister*> m_byField;
    /** The registers with an array of fields. An element has several names. */
    std::vector<const AddressedRegister*> m_withArrays;
};

/** @throws Failure if a name is also a field of an earlier register, because the user may mean this field. */
void requireUnambiguous(const std::vector<CheckedWrite>& writes) {
    FieldOwners earlier;
    for (const CheckedWrite& write : writes) {
        if (const AddressedRegister* const whole = earlier.find(write.name)) {
            throw usageError(whole->range.device().name() + ": '" + write.name +
                             "' is a register and a field of register " + whole->name() + " (give " + whole->name() +
                             '.' + write.name + " for the field, or write the register with a separate command)");
        }
        const auto& named = write.addressed.named;
        if (named && named->field == nullptr && !named->whole.contents().fields.empty()) {
            earlier.add(named->whole);
        }
    }
}

/** Returns the writes of the command line, in the order given. @throws Failure if one of them is not allowed. */
std::vector<CheckedWrite> writesFor(const CommandContext& context, const Target& target, const WriteOptions& options) {
    Addresses addresses(context, target, options.unit());
    if (options.address.find('=') == std::string::npos) {
        if (options.values.empty()) {
            throw usageError(target.name() + ": the value for " + options.address +
                             " is missing (give ADDRESS VALUE or ADDRESS=VALUE)");
        }
        return {checked(addresses, options)};
    }
    if (!options.mask.empty()) {
        throw usageError("--mask: does not apply to ADDRESS=VALUE (give ADDRESS VALUE)");
    }
    std::vector<CheckedWrite> writes{checked(addresses, optionsFor(options.address, options))};
    for (const std::string& assignment : options.values) {
        context.timeout().requireTimeLeft(target.name());
        writes.push_back(checked(addresses, optionsFor(assignment, options)));
    }
    requireUnambiguous(writes);
    return writes;
}

std::vector<std::string> namesOf(const std::vector<CheckedWrite>& writes) {
    std::vector<std::string> names;
    names.reserve(writes.size());
    for (const CheckedWrite& each : writes) {
        names.push_back(each.name);
    }
    return names;
}

/** Writes registers and fields in the order given, and ends at the first failure. */
class Writer {
public:
    Writer(OpenDevice& device, std::vector<CheckedWrite> writes, bool verifies)
        : m_device(device),
          m_writes(std::move(writes)),
          m_verifies(verifies),
          m_progress(m_writes.front().addressed.range.device().name(), namesOf(m_writes)) {}

    /** Returns the first failure; none if all writes succeed. */
    std::optional<Failure> write() {
        try {
            for (const CheckedWrite& each : m_writes) {
                m_progress.step([&] { write(each); });
            }
        } catch (const Failure& failure) {
            return failure;
        }
        return std::nullopt;
    }

    void print(const Output& output) const {
        m_progress.print([&] {
            for (std::size_t i = 0; i < m_progress.done(); ++i) {
                output.print(m_writes[i].plan.given);
            }
        });
    }

private:
    void write(const CheckedWrite& checked) {
        const RegisterRange& range = checked.addressed.range;
        const PlannedWrite& plan = checked.plan;
        const auto& named = checked.addressed.named;
        if (plan.checksResult) {
            requireResultAllowed(m_device, named->whole, {plan.value, *plan.mask});
        }
        m_progress.write([&] {
            if (plan.mask) {
                m_device.write(range, plan.value, *plan.mask);
            } else {
                m_device.write(range, plan.value);
            }
        });
        if (m_verifies) {
            verify(m_device, plan.given, named ? narrow(Maps::comparableBits(named->whole.contents())) : UINT32_MAX);
        }
    }

    OpenDevice& m_device;
    const std::vector<CheckedWrite> m_writes;
    const bool m_verifies;
    WriteProgress m_progress;
};

void write(const CommandContext& context, const WriteOptions& options) {
    const Target& target = context.target(options.name);
    std::vector<CheckedWrite> writes = writesFor(context, target, options);
    const auto device = context.open(target);
    for (const CheckedWrite& each : writes) {
        each.addressed.range.requireInside(device->mapSize());
    }
    Writer writer(*device, std::move(writes), options.verifies);
    // Prints only after the writes, because a reader that closes standard output must not interrupt the writes.
    const std::optional<Failure> failure = writer.write();
    try {
        writer.print(context.output());
    } catch (...) {
        if (!failure) {
            throw;
        }
    }
    if (failure) {
        throw Failure(*failure);
    }
}

} // namespace

void addWriteCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WriteOptions>();
    const Common::Command command =
        addCommand(program, chosen, "write", "write registers and fields, in the order given", options, write);
    command.addArgument("NAME", options->name, "the device");
    command.addArgument("ADDRESS", options->address,
                        "the byte address of a register, or the name of a register or a field; ADDRESS=VALUE begins a "
                        "list of writes");
    command.addOptionalArgument("VALUE", options->values,
                                "the value to write, or FIELD=VALUE for each field to write; in a list of writes, "
                                "ADDRESS=VALUE for each further register or field");
    command.addOption("--mask", "MASK", options->mask, "write only the bits that are set in the mask");
    command.addFlag("--verify", options->verifies, "read each register back, and fail if the written bits differ");
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
