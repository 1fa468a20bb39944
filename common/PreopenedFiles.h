/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Makes the library use files that the program has already opened.
 */
#ifndef RYNVEL_COMMON_PREOPENEDFILES_H
#define RYNVEL_COMMON_PREOPENEDFILES_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Descriptor.h"

namespace Common {

/** A range of mapped addresses. The destructor unmaps the range. */
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
 * Opens and maps files in advance, for the thread that creates the object. While the object exists, open() of that
 * thread returns the preopened descriptor of a path, and mmap() of the mapped descriptor at offset 0, with the same
 * size, returns the existing mapping. The functions return each descriptor and the mapping only once. The destructor
 * closes descriptors that were not returned, and unmaps a mapping that was not returned.
 *
 * A backend of the library opens its device file itself, and a mapped backend also maps the file. If the file cannot be
 * mapped, or if a seekable device or an FPGA cannot be opened, the backend ends the process. The backend of UIO devices
 * uses 0 for an attribute that cannot be read. A program that checks the files beforehand must pass the open files on
 * to the backend, because a second attempt may fail.
 *
 * The program defines functions with the names of the C library's functions. The dynamic linker binds the calls of
 * librynvel to the functions of the program. Simpler ways do not work:
 *
 * - Opening /proc/self/fd/N opens the file again. That fails if the driver allows only one open file.
 * - A class derived from a mapped backend could construct the backend as a fake device, and set the descriptor and the
 *   mapping of the backend. But the traces would then report a fake device, and no backend of seekable files has a
 *   constructor for a fake device.
 * - The backends open and map through their member LinuxIo, which has no virtual functions. Virtual functions would
 *   change the binary interface of the library, and only the programs of this project need them.
 */
class PreopenedFiles {
public:
    PreopenedFiles();
    PreopenedFiles(const PreopenedFiles&) = delete;
    PreopenedFiles& operator=(const PreopenedFiles&) = delete;
    ~PreopenedFiles();

    /** Opens a file in advance. @return the descriptor; -1 with errno set if open() fails. */
    int open(const std::string& path, int flags);

    /**
     * Maps `size` bytes of a file from offset 0, and reserves the `offset` bytes of addresses that follow. The library
     * later unmaps `size` bytes that begin at `offset`, and so also unmaps the reserved addresses. The reservation
     * ensures that nothing else is mapped at these addresses.
     *
     * @return false with errno set if mmap() fails.
     */
    bool map(int descriptor, std::size_t size, std::size_t offset);

    /** Returns whether there is a mapping that mmap() has not returned yet. */
    bool hasMapping() const { return m_mapping != nullptr; }
    /**
     * Returns the part of the mapping that the library does not unmap; null if the library unmaps the whole mapping.
     */
    std::shared_ptr<MappedRange> takeRemainder() const;

    /** Returns a descriptor of the path and passes its ownership to the caller; -1 if none is left. */
    int take(const char* path);
    /** Returns the mapping of the file if the mapping has this size and was not returned before; null otherwise. */
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
    /** The beginning of the range that consists of the mapping and the reserved addresses after it. */
    void* m_begin = nullptr;
    std::size_t m_reservedSize = 0;
    std::size_t m_remainderSize = 0;
};

} // namespace Common

#endif
