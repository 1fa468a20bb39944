/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_REQUESTBYTES_H
#define RYNVEL_TESTS_REQUESTBYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "MessageBytes.h"
#include "NetworkWord.h"

namespace RynvelTest {

using RequestType = Rynvel::RequestData::Type;

/** The types of the requests that read and write registers of type T. */
template <typename T>
constexpr RequestType readType = sizeof(T) == 1   ? RequestType::Read8
                                 : sizeof(T) == 2 ? RequestType::Read16
                                                  : RequestType::Read32;
template <typename T>
constexpr RequestType writeType = sizeof(T) == 1   ? RequestType::Write8
                                  : sizeof(T) == 2 ? RequestType::Write16
                                                   : RequestType::Write32;

/** A word and its offset in a record. */
using WordAt = std::pair<std::size_t, std::uint32_t>;

constexpr std::size_t nameAt = 4;
constexpr std::size_t addressAt = 132;
constexpr std::size_t valuesAt = 136;
constexpr std::size_t lengthAt = 648;
constexpr std::size_t byteOrderAt = 652;
/** The offset of the mask. In an ioctl request, it is the offset of the command. */
constexpr std::size_t maskAt = 656;

inline void put(Bytes& record, std::size_t offset, std::uint32_t word) { putWord(&record[offset], word); }

/** Returns the bytes of a request, which this function composes without the library. */
inline Bytes requestBytes(RequestType type, const std::string& deviceName, const std::vector<WordAt>& words = {}) {
    Bytes record(660);
    put(record, 0, static_cast<std::uint32_t>(type));
    std::copy(deviceName.begin(), deviceName.end(), record.begin() + nameAt);
    for (const auto& [offset, word] : words) {
        put(record, offset, word);
    }
    return record;
}

/** Returns the words of a request that contain its values and their number. */
inline std::vector<WordAt> valueWords(const std::vector<std::uint32_t>& values) {
    std::vector<WordAt> words{{lengthAt, static_cast<std::uint32_t>(values.size())}};
    for (std::size_t i = 0; i < values.size(); ++i) {
        words.emplace_back(valuesAt + 4 * i, values[i]);
    }
    return words;
}

} // namespace RynvelTest

#endif
