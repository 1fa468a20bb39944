/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PLAINMUTEX_H
#define RYNVEL_TESTS_PLAINMUTEX_H

#include <rynvel.hpp>

#include <memory>

namespace RynvelTest {

/** Returns a mutex of the type that the Factory gives to its devices. */
inline std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

} // namespace RynvelTest

#endif
