// SPDX-License-Identifier: MIT
#include <arpa/inet.h>

#include "Record.h"

using namespace RynvelFuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    const Record record(input, inputSize, 4);
    Rynvel::InterruptMessage message;
    record.receiveInto(message);
    require(rendered(message) == std::to_string(htonl(record.word(0))),
            "the text form is the word without a conversion of its byte order");
    require(bytesOf(message) == record.bytes(), "reading a record does not change it");
    return 0;
}
