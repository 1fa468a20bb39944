// SPDX-License-Identifier: MIT
#include "RawBytes.h"

#include <cstring>

#include "RegisterWord.h"

namespace Rynvelctl {

std::string bytesOf(const std::vector<std::uint32_t>& values, unsigned int width) {
    return Common::withRegisterType(width, [&values](auto word) {
        std::string bytes(values.size() * sizeof(word), '\0');
        for (std::size_t i = 0; i < values.size(); ++i) {
            word = static_cast<decltype(word)>(values[i]);
            std::memcpy(&bytes[i * sizeof(word)], &word, sizeof(word));
        }
        return bytes;
    });
}

std::vector<std::uint32_t> valuesOf(const std::string& bytes, unsigned int width) {
    return Common::withRegisterType(width, [&bytes](auto word) {
        std::vector<std::uint32_t> values(bytes.size() / sizeof(word));
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::memcpy(&word, &bytes[i * sizeof(word)], sizeof(word));
            values[i] = word;
        }
        return values;
    });
}

} // namespace Rynvelctl
