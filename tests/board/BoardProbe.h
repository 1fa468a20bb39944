/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_BOARDPROBE_H
#define RYNVEL_TESTS_BOARDPROBE_H

#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace RynvelTest {

/** The debugfs files of a device of the virtual board: its registers, the numbers of calls, and forced results. */
class BoardProbe {
public:
    /** @param device the name of the device file in /dev. */
    explicit BoardProbe(const std::string& device) : m_folder("/sys/kernel/debug/rynvel_board/" + device + "/") {}

    std::string registersPath() const { return m_folder + "registers"; }

    /** Makes the next `calls` calls of an operation ("read", "write", "seek", "ioctl") fail with an errno value. */
    void fail(const std::string& operation, unsigned int calls, int error) const { force(operation, calls, -error); }

    /** Limits each of the next `calls` transfers to a number of bytes. */
    void shorten(const std::string& operation, unsigned int calls, int bytes) const { force(operation, calls, bytes); }

    /** Returns how often an operation was called since the last resetCalls(). */
    unsigned int calls(const std::string& operation) const { return value(operation + "/calls"); }

    /** Returns the number in a debugfs file of the device. */
    unsigned int value(const std::string& file) const {
        std::ifstream stream(m_folder + file);
        unsigned int number = 0;
        EXPECT_TRUE(stream >> number) << m_folder << file;
        return number;
    }

    void resetCalls(const std::string& operation) const { set(operation + "/calls", "0"); }

    /** Returns the first line of a debugfs file of the device. */
    std::string text(const std::string& file) const {
        std::ifstream stream(m_folder + file);
        std::string line;
        EXPECT_TRUE(std::getline(stream, line)) << m_folder << file;
        return line;
    }

    void set(const std::string& file, const std::string& text) const {
        std::ofstream stream(m_folder + file);
        stream << text << std::flush;
        EXPECT_TRUE(stream) << m_folder << file;
    }

private:
    void force(const std::string& operation, unsigned int calls, int result) const {
        set(operation + "/force", std::to_string(calls) + ' ' + std::to_string(result));
    }

    const std::string m_folder;
};

} // namespace RynvelTest

#endif
