// SPDX-License-Identifier: MIT
#include <arpa/inet.h>

#include "Record.h"

using namespace RynvelFuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    const Record record(input, inputSize, 4);
    Rynvel::InterruptMessage message;
    record.receiveInto(message);
    require(rendered(message) == std::to_string(htonl(record.word(0))), "an interrupt renders as its word is stored");
    require(bytesOf(message) == record.bytes(), "looking at a record does not change it");
    return 0;
}
