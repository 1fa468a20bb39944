/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_TEMPORARY_FILE_H
#define ZILTRACE_TESTS_TEMPORARY_FILE_H

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

/** A file name in a new directory. The constructor does not create the file. */
class TemporaryFile {
public:
    TemporaryFile() : m_directory(::testing::TempDir() + "ziltrace-XXXXXX") {
        if (mkdtemp(m_directory.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
    }

    ~TemporaryFile() {
        unlink(path().c_str());
        rmdir(m_directory.c_str());
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& directory() const { return m_directory; }
    std::string path() const { return m_directory + "/trace.log"; }
    bool exists() const { return access(path().c_str(), F_OK) == 0; }

    std::vector<std::string> lines() const {
        std::ifstream stream(path());
        std::vector<std::string> result;
        for (std::string line; std::getline(stream, line);) {
            result.push_back(line);
        }
        return result;
    }

private:
    std::string m_directory;
};

#endif
