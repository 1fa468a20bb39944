// SPDX-License-Identifier: MIT
#include "Record.h"

namespace {

using Rynvel::Response;
using namespace RynvelFuzz;

constexpr std::size_t size = 520;

void requireFields(const Response& message, const Record& record) {
    require(static_cast<std::uint32_t>(message.getResult()) == record.word(0), "the result is the word at byte 0");
    require(message.isSuccessful() == (record.word(0) == 0), "only the result 0 is a success");
}

std::string nameOf(std::uint32_t result) {
    if (result == 0) {
        return "Success";
    }
    return result == 0xFFFFFFFF ? "Error" : "";
}

void requireRendering(const Response& message, const Record& record, const Values<Response>& values) {
    require(rendered(message) == "Response: [ result: " + nameOf(record.word(0)) + values.text(),
            "the text form has the result, the length and the values");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    const Record record(input, inputSize, size);
    const Values<Response> values(record, 4, 516);
    Response message;
    record.receiveInto(message);
    requireFields(message, record);
    values.requireGetters(message);
    requireRendering(message, record, values);
    require(bytesOf(message) == record.bytes(), "reading a record does not change it");
    values.requireSetters(message);
    return 0;
}
