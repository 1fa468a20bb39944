/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SHELLLINE_H
#define RYNVEL_TESTS_SHELLLINE_H

#include <string>
#include <vector>

#include "Process.h"

namespace RynvelTest {

/** Returns the calls of rynvelctl in a line of a shell, each with its arguments and without its redirections. */
inline std::vector<Arguments> callsIn(const std::string& line) {
    std::vector<Arguments> commands(1);
    std::string word;
    bool isQuoted = false;
    bool isWord = false;
    const auto endWord = [&] {
        if (isWord && word.find_first_of("<>") != 0) {
            commands.back().push_back(word);
        }
        word.clear();
        isWord = false;
    };
    for (const char character : line) {
        if (character == '\'') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (!isQuoted && (character == ' ' || character == '|' || character == ';')) {
            endWord();
            if (character != ' ') {
                commands.emplace_back();
            }
        } else {
            word += character;
            isWord = true;
        }
    }
    endWord();
    std::vector<Arguments> calls;
    for (const Arguments& command : commands) {
        if (!command.empty() && command.front() == "rynvelctl") {
            calls.push_back(command);
        }
    }
    return calls;
}

} // namespace RynvelTest

#endif
