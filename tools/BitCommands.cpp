// SPDX-License-Identifier: MIT
#include "BitSelection.h"
#include "Commands.h"
#include "FieldWrite.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"
#include "ResultCheck.h"
#include "WriteProgress.h"

namespace Rynvelctl {

namespace {

enum class BitChange { Set, Clear, Toggle };

struct BitOptions : RegisterOptions {
    std::string bits;
    BitChange change = BitChange::Set;
};

/** A change of some bits of one register. */
class ChangedBits {
public:
    ChangedBits(const Addressed& addressed, const BitOptions& options)
        : m_addressed(addressed), m_bits(parseBits(addressed, options.bits)), m_change(options.change) {
        if (addressed.named) {
            requireChangeable(addressed.named->whole);
        }
        if (m_change != BitChange::Toggle) {
            plan(m_change == BitChange::Set ? m_bits.mask : 0);
        }
    }

    /** Writes the bits, and returns the written value. */
    WrittenValue write(OpenDevice& device, WriteProgress& progress) {
        std::optional<std::uint32_t> before;
        if (m_change == BitChange::Toggle) {
            before = device.read(m_addressed.range);
            plan(~*before & m_bits.mask);
        }
        if (m_addressed.named) {
            requireResultAllowed(device, m_addressed.named->whole, m_written, before);
        }
        progress.write([&] {
            device.write(m_addressed.range, static_cast<std::uint32_t>(m_written.value),
                         static_cast<std::uint32_t>(m_written.mask));
        });
        WrittenValue written{m_addressed.range, m_value, m_bits.mask, {}};
        for (const Maps::Field* const field : m_bits.fields) {
            written.fields.push_back(Maps::decode(*field, m_value, Maps::Usage::Write));
        }
        return written;
    }

private:
    /** @throws Failure if the register map does not allow a change of these bits, whatever their new value is. */
    void requireChangeable(const AddressedRegister& whole) const {
        requireAllowed(whole, {0, 0});
        requireReadable({whole, nullptr});
        requireHarmlessRead(whole, "write the whole register");
        allowed(whole, [&] {
            Maps::requireStored(whole.located, m_bits.mask);
            Maps::requireOthersKept(whole.located, m_bits.mask, whole.word);
            if (m_change == BitChange::Toggle) {
                Maps::requireNotWriteOnly(whole.located, m_bits.mask, " (toggle must read it; use set or clear)");
            }
        });
    }

    /** Plans the write that gives the bits a value. @throws Failure if the register map does not allow the value. */
    void plan(std::uint32_t value) {
        m_value = value;
        m_written = {value, m_bits.mask};
        if (m_addressed.named) {
            const AddressedRegister& whole = m_addressed.named->whole;
            requireAllowed(whole, m_written);
            m_written = allowed(whole, [&] { return Maps::planMaskedWrite(whole.located, m_written, whole.word); });
        }
    }

    const Addressed& m_addressed;
    const BitSelection m_bits;
    const BitChange m_change;
    /** The new value of the bits. */
    std::uint32_t m_value = 0;
    Maps::MaskedValue m_written;
};

void changeBits(const CommandContext& context, const BitOptions& options) {
    const Target& target = context.target(options.name);
    const Addressed addressed = Addresses(context, target, options.unit()).findWhole(options.address);
    ChangedBits bits(addressed, options);
    const auto device = context.open(addressed.range);
    WriteProgress progress(target.name(), {options.address});
    std::optional<WrittenValue> written;
    progress.step([&] { written = bits.write(*device, progress); });
    progress.print([&] { context.output().print(*written); });
}

void addBitCommand(const Common::Command& program, Action& chosen, const char* name, const char* summary,
                   BitChange change) {
    const auto options = std::make_shared<BitOptions>();
    options->change = change;
    const Common::Command command = addCommand(program, chosen, name, summary, options, changeBits);
    addRegister(command, *options, "the byte address or the name of the register");
    command.addArgument("BITS", options->bits,
                        "the bits: numbers such as 3, ranges such as 7:4, and names of fields, separated by commas");
    addIndexOption(command, *options);
}

} // namespace

void addBitCommands(const Common::Command& program, Action& chosen) {
    addBitCommand(program, chosen, "set", "set the selected bits of a register to 1", BitChange::Set);
    addBitCommand(program, chosen, "clear", "set the selected bits of a register to 0", BitChange::Clear);
    addBitCommand(program, chosen, "toggle", "invert the selected bits of a register", BitChange::Toggle);
}

} // namespace Rynvelctl
