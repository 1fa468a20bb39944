#ifndef RYNVEL_TESTS_PLAINMUTEX_H
#define RYNVEL_TESTS_PLAINMUTEX_H

#include <memory>

#include <rynvel.hpp>

namespace RynvelTest {

/** The mutex that the Factory gives to a device. */
inline std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

} // namespace RynvelTest

#endif
