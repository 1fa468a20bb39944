/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SEEKABLEREGISTERS_H
#define RYNVEL_TESTS_SEEKABLEREGISTERS_H

#include <rynvel.hpp>

#include <memory>
#include <string>
#include <utility>

#include "DeviceContract.h"
#include "RegisterFile.h"

namespace RynvelTest {

/** Registers in a seekable file, for the device contract. */
template <typename T>
class SeekableRegisters : public RegisterFile<T>, public UsualBackend {
public:
    /** @param fd a descriptor of the file. The object takes ownership of the descriptor. */
    SeekableRegisters(std::string path, int fd) : RegisterFile<T>(fd), m_path(std::move(path)) {}

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Lseek<T>>(
            m_path, std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
    }

    static unsigned int address(unsigned int i) { return static_cast<unsigned int>(i * sizeof(T)); }
    static bool reportsBurst(unsigned int items) { return sizeof(T) == 1 || items == 0; }

private:
    const std::string m_path;
};

} // namespace RynvelTest

#endif
