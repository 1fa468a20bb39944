/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PLAINMUTEX_H
#define RYNVEL_TESTS_PLAINMUTEX_H

#include <rynvel.hpp>

#include <memory>

namespace RynvelTest {

/** The mutex that the Factory gives to a device. */
inline std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

} // namespace RynvelTest

#endif
