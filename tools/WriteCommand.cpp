// SPDX-License-Identifier: MIT
#include <algorithm>

#include "Addresses.h"
#include "Commands.h"
#include "FieldWrite.h"
#include "Numbers.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"

namespace Rynvelctl {

namespace {

struct WriteOptions : RegisterOptions {
    std::vector<std::string> values;
    std::string mask;
    bool verifies = false;
};

/** A write, including the bits that the program adds to protect other fields. */
struct PlannedWrite {
    /** The value for the device, and its mask. */
    std::uint32_t value;
    std::optional<std::uint32_t> mask;
    /**
     * The value and mask that the user gave, for `--verify` and the output. `value` and `mask` may also cover other
     * fields.
     */
    WrittenValue given;
};

std::uint32_t parseMask(const std::string& text, unsigned int width) {
    const std::uint32_t mask = parseValue("mask", text, width);
    // To a server, a mask of 0 means that there is no mask.
    if (mask == 0) {
        throw usageError("mask " + text + " selects no bits (set at least one bit)");
    }
    return mask;
}

std::uint32_t narrow(std::uint64_t value) { return static_cast<std::uint32_t>(value); }

/** Builds the plan from the command line. */
class Planner {
public:
    Planner(const Addressed& addressed, const WriteOptions& options) : m_addressed(addressed), m_options(options) {}

    PlannedWrite plan() const {
        if (m_addressed.field() != nullptr) {
            return planFields({{m_addressed.field(), onlyValue()}});
        }
        return isAssignment(m_options.values.front()) ? planFields(assignments()) : planRegister();
    }

private:
    static bool isAssignment(const std::string& word) { return word.find('=') != std::string::npos; }

    const Target& device() const { return m_addressed.range.device(); }

    Failure refusal(const std::string& problem) const { return usageError(device().name() + ": " + problem); }

    const std::string& onlyValue() const {
        if (m_options.values.size() > 1) {
            throw refusal("'" + m_options.values[1] +
                          "' is a second value (give one value, or FIELD=VALUE for each field)");
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

    /** Calls a function with the register that the user named. @throws Failure if the register map refuses it. */
    template <typename Function>
    auto allowed(const Function& function) const {
        try {
            return function(m_addressed.named->whole);
        } catch (const Maps::RefusedValue& refused) {
            throw refusal(refused.what());
        }
    }

    std::vector<Maps::FieldAssignment> assignments() const {
        if (!m_addressed.named) {
            throw refusal("'" + m_options.values.front() + "' assigns a field of address " +
                          m_addressed.range.addressText() + " (give the name of the register)");
        }
        std::vector<Maps::Assignment> assignments;
        for (const std::string& word : m_options.values) {
            assignments.push_back(assignment(word));
        }
        return allowed(
            [&assignments](const MappedRegister& whole) { return Maps::findFields(whole.located, assignments); });
    }

    PlannedWrite planFields(const std::vector<Maps::FieldAssignment>& assignments) const {
        if (!m_options.mask.empty()) {
            throw usageError("--mask: the fields already select the bits to write (leave out --mask)");
        }
        const Maps::FieldWrite write = allowed([&assignments](const MappedRegister& whole) {
            return Maps::planWrite(whole.located, assignments, whole.word());
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
        const Maps::MaskedValue written = allowed([&given](const MappedRegister& whole) {
            return Maps::planMaskedWrite(whole.located, {given.value, *given.mask}, whole.word());
        });
        return {narrow(written.value), narrow(written.mask), given};
    }

    void requireAllowed(std::uint32_t value, std::optional<std::uint32_t> mask) const {
        const MappedRegister& whole = m_addressed.named->whole;
        Rynvelctl::requireAllowed(whole, {value, mask.value_or(UINT32_MAX)});
        // A masked write also reads the register.
        if (mask) {
            requireReadable(*m_addressed.named);
            requireNoReadEffect(whole, "--mask");
        }
    }

    const Addressed& m_addressed;
    const WriteOptions& m_options;
};

/** @throws Failure if a write does not store its bits in a register or a field. */
void requireStored(Maps::ModifiedWrite modifiedWrite, const std::string& subject, const Target& device) {
    if (modifiedWrite != Maps::ModifiedWrite::Modify) {
        throw usageError(device.name() + ": a write does not store the value in " + subject + " (leave out --verify)");
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
    const MappedRegister& whole = addressed.named->whole;
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

/** Returns the bits that a write does not store or a read does not return. Bits of a writable field are not among them.
 */
std::uint32_t uncomparedBits(const Maps::Register& contents) {
    std::uint64_t fields = 0;
    std::uint64_t stored = 0;
    for (const Maps::Field& field : contents.fields) {
        const std::uint64_t bits = Maps::isInside(field, contents) ? Maps::maskOf(field) : 0;
        fields |= bits;
        stored |= Maps::isWritable(field.access) ? bits : 0;
    }
    const bool areOthersStored = Maps::isWritable(contents.access) && Maps::isReadable(contents.access);
    return narrow(~(stored | (areOthersStored ? ~fields : 0)));
}

/** Reads a register back. @throws Failure if a written bit differs. @param ignored the bits that may have any value. */
void verify(OpenDevice& device, const WrittenValue& written, std::uint32_t ignored) {
    const RegisterRange& range = written.range;
    const unsigned int bits = range.bits();
    const std::uint32_t found = device.read(range) & maxValue(bits);
    const std::uint32_t mask = written.mask.value_or(maxValue(bits)) & ~ignored;
    if ((found & mask) != (written.value & mask)) {
        const std::string masked = written.mask ? " with mask " + hexadecimal(mask, bits) : "";
        throw Failure(ExitStatus::Failed, range.device().name() + ": " + range.addressText() + " holds " +
                                              hexadecimal(found, bits) + " after " + hexadecimal(written.value, bits) +
                                              " was written" + masked);
    }
}

void write(const CommandContext& context, const WriteOptions& options) {
    const Target target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).find(options.address);
    const PlannedWrite plan = Planner(addressed, options).plan();
    if (options.verifies) {
        requireVerifiable(addressed, plan);
    }
    const auto device = openDevice(addressed.range, context.timeout());
    if (plan.mask) {
        device->write(addressed.range, plan.value, *plan.mask);
    } else {
        device->write(addressed.range, plan.value);
    }
    if (options.verifies) {
        verify(*device, plan.given, addressed.named ? uncomparedBits(addressed.named->whole.contents()) : 0);
    }
    context.output().print(plan.given);
}

} // namespace

void addWriteCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<WriteOptions>();
    const Common::Command command =
        addCommand(program, chosen, "write", "write a register, or fields of a register", options, write);
    addRegister(command, *options);
    command.addArgument("VALUE", options->values, "the value to write, or FIELD=VALUE for each field to write");
    command.addOption("--mask", "MASK", options->mask, "write only the bits that are set in the mask");
    command.addFlag("--verify", options->verifies, "read the register back, and fail if the written bits differ");
    addIndexOption(command, *options);
}

} // namespace Rynvelctl
