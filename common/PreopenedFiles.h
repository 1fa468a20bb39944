/**
 * @file
 * Lets the library use files that are open already.
 */
#ifndef RYNVEL_COMMON_PREOPENEDFILES_H
#define RYNVEL_COMMON_PREOPENEDFILES_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Descriptor.h"

namespace Common {

/** Addresses that are unmapped at the end. */
class MappedRange {
public:
    MappedRange(void* begin, std::size_t size) : m_begin(begin), m_size(size) {}
    MappedRange(const MappedRange&) = delete;
    MappedRange& operator=(const MappedRange&) = delete;
    ~MappedRange();

private:
    void* const m_begin;
    const std::size_t m_size;
};

/**
 * While it lives, the next attempt of its thread to open a path gets a descriptor that is handed over for it, and the
 * first attempt to map the mapped descriptor from its beginning gets the mapping. What nobody has taken is let go of at
 * its end.
 *
 * The backends of the library open and map a device file themselves, and end the process when they cannot; a UIO device
 * whose attributes cannot be read has wrong ones. A program that has found out beforehand that all of this works must
 * hand over what it has: a second attempt may fail.
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
class PreopenedFiles {
public:
    PreopenedFiles();
    PreopenedFiles(const PreopenedFiles&) = delete;
    PreopenedFiles& operator=(const PreopenedFiles&) = delete;
    ~PreopenedFiles();

    /** Opens a file, to hand it over once. @return the descriptor; -1, with errno set, when the system refuses. */
    int open(const std::string& path, int flags);

    /**
     * Maps a descriptor from its beginning. The library unmaps what begins at the offset: there the addresses behind
     * the mapping are reserved, so that nothing else is there.
     *
     * @return false, with errno set, when the system refuses.
     */
    bool map(int descriptor, std::size_t size, std::size_t offset);

    /** Whether nobody has taken the mapping. */
    bool hasMapping() const { return m_mapping != nullptr; }
    /** What will be left of the taken mapping when the library has unmapped it; null without an offset. */
    std::shared_ptr<MappedRange> takeRemainder() const;

    /** A descriptor for the path; -1 when there is none, or none any more. */
    int take(const char* path);
    /** The mapping, or null when it is not of this file and this size or has been taken. */
    void* take(int descriptor, std::size_t size);

private:
    struct File {
        std::string path;
        Descriptor descriptor;
    };

    std::vector<File> m_files;
    int m_mapped = -1;
    void* m_mapping = nullptr;
    std::size_t m_size = 0;
    /** The mapping with the addresses that are reserved behind it. */
    void* m_begin = nullptr;
    std::size_t m_reservedSize = 0;
    std::size_t m_remainderSize = 0;
};

} // namespace Common

#endif
