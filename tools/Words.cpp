// SPDX-License-Identifier: MIT
#include "Words.h"

#include <algorithm>
#include <cstddef>

#include "Failure.h"

namespace Rynvelctl {

std::vector<std::string> wordsOf(const std::string& line) {
    // Does not use a stream, because the construction of a stream takes longer than the other work for a command.
    constexpr const char* blanks = " \t\r\v\f";
    std::vector<std::string> words;
    std::size_t begin = line.find_first_not_of(blanks);
    while (begin != std::string::npos && line[begin] != '#') {
        const std::size_t end = std::min(line.find_first_of(blanks, begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(blanks, end);
    }
    return words;
}

void requireUsable(const std::string& word) {
    // An empty word usually comes from an unset variable of a script.
    if (word.empty() || (word.compare(0, 2, "--") == 0 && word.back() == '=')) {
        throw usageError(word.empty() ? "an argument is empty (give a value, or leave it out)"
                                      : word.substr(0, word.size() - 1) +
                                            ": the value is empty (give a value, or leave out the option)");
    }
    // The parser would take the word for a list.
    if (word.front() == '[') {
        throw usageError("'" + word + "' begins with a bracket (give a name or a number)");
    }
}

} // namespace Rynvelctl
