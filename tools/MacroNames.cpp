// SPDX-License-Identifier: MIT
#include "MacroNames.h"

namespace Rynvelctl {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isUpperCase(char character) { return character >= 'A' && character <= 'Z'; }

// Does not use the functions of the C library, because their results depend on the locale.
char upperCase(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

} // namespace

std::string macroName(const std::vector<std::string>& names) {
    std::string result;
    bool isGap = false;
    for (const std::string& name : names) {
        isGap = true;
        for (const char character : name) {
            const char letter = upperCase(character);
            if (!isUpperCase(letter) && !isDigit(letter)) {
                isGap = true;
                continue;
            }
            // C and C++ reserve names with two underscores in a row, and some names that begin with an underscore.
            result.append(isGap && !result.empty() ? "_" : "").push_back(letter);
            isGap = false;
        }
    }
    return result.empty() || isDigit(result.front()) ? "DEVICE_" + result : result;
}

std::string MacroNames::add(const std::string& wanted, const std::string& definition) {
    if (!m_given.emplace(wanted, definition).second) {
        return "";
    }
    std::string name = wanted;
    if (m_taken.count(name) != 0) {
        unsigned int& number = m_lastNumbers.try_emplace(wanted, 1).first->second;
        do {
            name = wanted + '_' + std::to_string(++number);
        } while (m_taken.count(name) != 0 || m_reserved.count(name) != 0);
    }
    m_taken.insert(name);
    return name;
}

} // namespace Rynvelctl
