/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_DESCRIBEDPROGRAM_H
#define RYNVEL_TESTS_DESCRIBEDPROGRAM_H

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "Program.h"

namespace RynvelTest {

/** rynvelctl on the device map32, which the register map board.svd describes. All registers are 0. */
class DescribedProgram : public testing::Test {
protected:
    explicit DescribedProgram(const std::string& map) {
        m_folder.store("map", std::string(4096, '\0'));
        m_folder.store("board.svd", map);
    }

    static Arguments arguments(const std::string& line) { return words("--map board.svd " + line); }

    Ending run(const std::string& line) const {
        return runProgram(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path());
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& problem = "") const {
        expectEnding(run(line), status, output, problem, line);
    }

    void expectRefused(const std::string& line, const std::string& problem) const {
        const std::string before = m_folder.load("map");
        expect(line, 2, "", problem);
        EXPECT_EQ(m_folder.load("map"), before) << line;
    }

    void set(std::size_t offset, std::uint32_t value) const {
        std::string bytes = m_folder.load("map");
        bytes.replace(offset, sizeof(value), reinterpret_cast<const char*>(&value), sizeof(value));
        m_folder.store("map", bytes);
    }

    std::uint32_t get(std::size_t offset) const {
        const std::string bytes = m_folder.load("map").substr(offset, sizeof(std::uint32_t));
        std::uint32_t value = 0;
        bytes.copy(reinterpret_cast<char*>(&value), sizeof(value));
        return value;
    }

    TestFolder m_folder;
};

} // namespace RynvelTest

#endif
