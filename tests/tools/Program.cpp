// SPDX-License-Identifier: MIT
#include "Program.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

// If RYNVEL_TOOL_TEST_SHARDS is set, GoogleTest divides the tests of this program into that number of shards and runs
// only the first shard. The other test programs ignore the variable.
const bool shardsAreSet = [] {
    const char* const shards = std::getenv("RYNVEL_TOOL_TEST_SHARDS");
    return shards != nullptr && setenv("GTEST_TOTAL_SHARDS", shards, 1) == 0 &&
           setenv("GTEST_SHARD_INDEX", "0", 1) == 0;
}();

const std::string timePattern = "0000-00-00T00:00:00.000000Z";

bool isTime(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return std::isdigit(character) != 0; }, '0');
    return text == timePattern;
}

} // namespace

Arguments words(const std::string& line) {
    std::istringstream stream(line);
    Arguments result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

Arguments commandOf(const std::string& path, const Arguments& arguments) {
    Arguments command = words(RYNVEL_EMULATOR);
    command.push_back(path);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::string enter(const std::string& folder) { return "unset ZILTRACE RYNVELCTL_REMOTE; cd '" + folder + "' && "; }

Program::Program(const std::string& path, const Arguments& arguments, const std::string& folder, int output)
    : Process(commandOf(path, arguments), {enter(folder), {}, output}) {}

Program::Program(const std::string& path, const Arguments& arguments, const std::string& folder,
                 const std::string& input)
    : Process(commandOf(path, arguments), {enter(folder) + "exec <'" + input + "' && ", {}}) {}

Ending runProgram(const std::string& path, const Arguments& arguments, const std::string& folder) {
    return Program(path, arguments, folder).wait();
}

Ending runWithVariable(const std::string& assignment, const std::string& path, const Arguments& arguments,
                       const std::string& folder) {
    const std::string preparation = enter(folder) + "export '" + assignment + "' && ";
    return Process(commandOf(path, arguments), {preparation, {}, Process::toTheTest}).wait();
}

TestFolder::TestFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "rynvel.XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    m_path = pattern;
}

TestFolder::~TestFolder() { std::filesystem::remove_all(m_path); }

void TestFolder::store(const std::string& name, const std::string& bytes) const {
    std::ofstream(m_path + '/' + name, std::ios::binary) << bytes;
}

std::string TestFolder::load(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(m_path + '/' + name, std::ios::binary).rdbuf();
    return text.str();
}

std::string withoutTimes(const std::string& text) {
    std::string result = text;
    for (std::size_t position = 0; position + timePattern.size() <= result.size(); ++position) {
        if (isTime(result.substr(position, timePattern.size()))) {
            result.replace(position, timePattern.size(), "TIME");
        }
    }
    return result;
}

void expectEnding(const Ending& ending, int status, const std::string& output, const std::string& problem,
                  const std::string& line) {
    EXPECT_EQ(ending.status, status) << line;
    EXPECT_EQ(withoutTimes(ending.output), output) << line;
    EXPECT_EQ(ending.error, problem.empty() ? "" : "rynvelctl: " + problem + '\n') << line;
}

} // namespace RynvelTest
