// SPDX-License-Identifier: MIT
#include "Record.h"

namespace {

using Rynvel::ByteOrder;
using Rynvel::Request;
using namespace RynvelFuzz;

constexpr std::size_t size = 660;
constexpr std::size_t nameSize = 128;

void requireFields(const Request& message, const Record& record) {
    const std::string name = message.getDeviceName();
    require(name.size() <= nameSize, "a name is not longer than its field");
    require(name == record.text(4, nameSize), "a name ends at its terminator or at the end of its field");
    require(static_cast<std::uint32_t>(message.getType()) == record.word(0), "the type is the word at byte 0");
    require(message.getAddress() == record.word(132), "the address is the word at byte 132");
    require((message.getByteOrder() == ByteOrder::Network) == (record.word(652) == 0),
            "the byte order is Network if the word at byte 652 is 0, and otherwise Host");
    require(message.getBitmask() == record.word(656), "the mask is the word at byte 656");
    require(message.getCommand() == record.word(656), "the command is the word at byte 656");
}

void requireRendering(const Request& message, const Record& record, const Values<Request>& values) {
    const std::string fields = std::string(", byteOrder: ") + (record.word(652) == 0 ? "Network" : "Host") +
                               ", logicalDeviceName: " + record.text(4, nameSize) +
                               ", address: " + hex(record.word(132)) + ", bitmask: " + hex(record.word(656)) +
                               ", command: " + hex(record.word(656));
    const std::string type = between(rendered(message), "Request: [ type: ", fields + values.text());
    require(type.empty() == (record.word(0) > 13), "only the types up to 13 have a name");
    require(type.find_first_of(" ,") == std::string::npos, "the name of a type is one word");
}

void requireCutName(const Record& record) {
    const std::string name = record.text(4, size - 4);
    require(Request(Rynvel::RequestData::Type::Open, name).getDeviceName() == name.substr(0, nameSize - 1),
            "a name is cut so that its field keeps a terminator");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    const Record record(input, inputSize, size);
    const Values<Request> values(record, 136, 648);
    Request message;
    record.receiveInto(message);
    requireFields(message, record);
    values.requireGetters(message);
    requireRendering(message, record, values);
    require(bytesOf(message) == record.bytes(), "reading a record does not change it");
    values.requireSetters(message);
    requireCutName(record);
    return 0;
}
