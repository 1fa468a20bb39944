/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Descriptors that are temporarily non-blocking.
 */
#ifndef RYNVEL_COMMON_NONBLOCKING_H
#define RYNVEL_COMMON_NONBLOCKING_H

#include <fcntl.h>

namespace Common {

/** Makes a descriptor non-blocking as long as the object exists. */
class NonBlocking {
public:
    explicit NonBlocking(int descriptor) : m_descriptor(descriptor), m_flags(::fcntl(descriptor, F_GETFL)) {
        ::fcntl(m_descriptor, F_SETFL, m_flags | O_NONBLOCK);
    }
    NonBlocking(const NonBlocking&) = delete;
    NonBlocking& operator=(const NonBlocking&) = delete;
    ~NonBlocking() { ::fcntl(m_descriptor, F_SETFL, m_flags); }

private:
    const int m_descriptor;
    const int m_flags;
};

} // namespace Common

#endif
