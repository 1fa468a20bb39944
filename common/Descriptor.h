/* SPDX-License-Identifier: MIT */
/**
 * @file A class that owns a file descriptor.
 */
#ifndef RYNVEL_COMMON_DESCRIPTOR_H
#define RYNVEL_COMMON_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace Common {

/** Owns at most one file descriptor. The destructor and an assignment close the descriptor that the object owns. */
class Descriptor {
public:
    /** Creates an object that owns no descriptor. */
    Descriptor() = default;

    /** @param number the return value of a system call: -1, or a descriptor, which the object then owns. */
    explicit Descriptor(int number) : m_number(number) {}

    Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Descriptor previous(std::exchange(m_number, other.release()));
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor() {
        if (isOpen()) {
            ::close(m_number);
        }
    }

    bool isOpen() const { return m_number != none; }

    /** Returns the descriptor; -1 if the object owns none. */
    int number() const { return m_number; }

    /** Returns the descriptor and passes its ownership to the caller. */
    int release() { return std::exchange(m_number, none); }

private:
    static constexpr int none = -1;

    int m_number = none;
};

} // namespace Common

#endif
