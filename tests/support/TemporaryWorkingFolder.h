/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_TEMPORARYWORKINGFOLDER_H
#define RYNVEL_TESTS_TEMPORARYWORKINGFOLDER_H

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A working folder for one test. The destructor removes the folder with its contents. */
class TemporaryWorkingFolder {
public:
    TemporaryWorkingFolder() : m_before(std::filesystem::current_path()) {
        std::string path = m_before / "test.XXXXXX";
        EXPECT_NE(::mkdtemp(path.data()), nullptr);
        m_path = path;
        std::filesystem::current_path(m_path);
    }
    TemporaryWorkingFolder(const TemporaryWorkingFolder&) = delete;
    TemporaryWorkingFolder& operator=(const TemporaryWorkingFolder&) = delete;
    ~TemporaryWorkingFolder() {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_path);
    }

    /** Makes a file of `size` zero bytes in the working folder. */
    static void makeFile(const std::string& name, std::uintmax_t size) {
        std::ofstream{name};
        std::filesystem::resize_file(name, size);
    }

private:
    const std::filesystem::path m_before;
    std::filesystem::path m_path;
};

} // namespace RynvelTest

#endif
