/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_BOARDREGISTERS_H
#define RYNVEL_TESTS_BOARDREGISTERS_H

#include <rynvel.hpp>

#include <string>

#include <fcntl.h>

#include "BoardProbe.h"
#include "PlainMutex.h"
#include "RegisterFile.h"

namespace RynvelTest {

/** The registers of a device of the board. The test accesses them through debugfs. */
template <typename T>
class BoardRegisters : public RegisterFile<T> {
public:
    /** @param device the name of the device file in /dev. */
    explicit BoardRegisters(const std::string& device)
        : RegisterFile<T>(open(BoardProbe(device).registersPath().c_str(), O_RDWR | O_CLOEXEC)) {}
};

} // namespace RynvelTest

#endif
