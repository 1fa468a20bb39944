#ifndef RYNVEL_TESTS_BOARDREGISTERS_H
#define RYNVEL_TESTS_BOARDREGISTERS_H

#include <memory>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rynvel.hpp>
#include <unistd.h>

#include "BoardProbe.h"

namespace RynvelTest {

inline std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

/** The registers of one of the board's devices, beside it, as the device contract looks at them. */
template <typename T>
class BoardRegisters {
public:
    using Value = T;

    /** @param device the name of the device's file in /dev. The first 64 registers are set to zero. */
    explicit BoardRegisters(const std::string& device)
        : m_fd(open(BoardProbe(device).registersPath().c_str(), O_RDWR | O_CLOEXEC)) {
        for (unsigned int i = 0; i < 64; ++i) {
            poke(i, 0);
        }
    }
    BoardRegisters(const BoardRegisters&) = delete;
    BoardRegisters& operator=(const BoardRegisters&) = delete;
    ~BoardRegisters() { close(m_fd); }

    T peek(unsigned int i) const {
        T value = 0;
        EXPECT_EQ(pread(m_fd, &value, sizeof(T), place(i)), static_cast<ssize_t>(sizeof(T)));
        return value;
    }

    void poke(unsigned int i, T value) {
        EXPECT_EQ(pwrite(m_fd, &value, sizeof(T), place(i)), static_cast<ssize_t>(sizeof(T)));
    }

private:
    static off_t place(unsigned int i) { return static_cast<off_t>(i * sizeof(T)); }

    const int m_fd;
};

} // namespace RynvelTest

#endif
