/**
 * @file
 * A file descriptor that closes itself.
 */
#ifndef RYNVEL_COMMON_DESCRIPTOR_H
#define RYNVEL_COMMON_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace Common {

/** Owns a file descriptor, or none. What it owns is closed at its end, and when another takes its place. */
class Descriptor {
public:
    /** None. */
    Descriptor() = default;

    /** @param number as a system call returns it: of an open file, owned from now on, or -1. */
    explicit Descriptor(int number) : m_number(number) {}

    Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Descriptor former(std::exchange(m_number, other.release()));
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

    /** -1 for none. */
    int number() const { return m_number; }

    /** The number, which is the caller's from now on. */
    int release() { return std::exchange(m_number, none); }

private:
    static constexpr int none = -1;

    int m_number = none;
};

} // namespace Common

#endif
