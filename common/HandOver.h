/**
 * @file
 * Lets the library use a device file that is open already.
 */
#ifndef RYNVEL_COMMON_HANDOVER_H
#define RYNVEL_COMMON_HANDOVER_H

#include <cstddef>
#include <string>

namespace Common {

/**
 * While it lives, the first attempt of its thread to open the file gets the descriptor that is handed over, and the
 * first attempt to map that descriptor from its beginning gets the mapping. What nobody has taken is let go of at its
 * end.
 *
 * The backends of the library open and map a device file themselves, and end the process when they cannot. A program
 * that has found out beforehand that it can must hand over what it has: a second attempt may fail.
 *
 * It works by functions of the C library's names in the program that links this, which the library's calls find first.
 * Nothing simpler does:
 *
 * - The path of an open descriptor below /proc/self/fd opens the file once more. That fails where a driver lets itself
 *   be opened once.
 * - A class that derives from a mapped backend could have it constructed as a fake, and put file and mapping into its
 *   members. Its traces would tell of a fake device, and the backends of seekable files have no such construction.
 * - LinuxIo, by which the backends open and map, is a member of theirs without virtual functions. A way to give them
 *   another one would change the library's binary interface for the sake of two programs.
 */
class HandOver {
public:
    /** @param descriptor of the file, owned from now on. */
    HandOver(std::string path, int descriptor);
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;
    ~HandOver();

    /** Maps the file from its beginning; false, with errno set, when the system refuses. */
    bool map(std::size_t size);

    /** The descriptor, or -1 when it is not for this path or has been taken. */
    int take(const char* path);
    /** The mapping, or null when it is not of this file and this size or has been taken. */
    void* take(int descriptor, std::size_t size);

private:
    const std::string m_path;
    const int m_descriptor;
    bool m_isTaken = false;
    void* m_mapping = nullptr;
    std::size_t m_size = 0;
};

} // namespace Common

#endif
