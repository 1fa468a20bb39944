// SPDX-License-Identifier: MIT
#include "InterruptRecord.h"

#include <cstring>

#include <netinet/in.h>

namespace Common {

Rynvel::InterruptMessage interruptRecord(std::uint32_t word) {
    Rynvel::InterruptMessage record;
    const std::uint32_t sent = htonl(word);
    std::memcpy(record.toBuffer(), &sent, sizeof(sent));
    return record;
}

std::uint32_t interruptWord(const Rynvel::InterruptMessage& record) {
    std::uint32_t received = 0;
    std::memcpy(&received, record.toBuffer(), sizeof(received));
    return ntohl(received);
}

} // namespace Common
