// SPDX-License-Identifier: MIT
#include "Words.h"

#include <sstream>

#include "Failure.h"

namespace Rynvelctl {

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word && word.front() != '#';) {
        words.push_back(word);
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
        throw usageError("'" + word + "' is neither a name nor a number");
    }
}

} // namespace Rynvelctl
