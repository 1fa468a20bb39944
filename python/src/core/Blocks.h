/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The memory for the result of a burst.
 */
#ifndef RYNVEL_PYTHON_BLOCKS_H
#define RYNVEL_PYTHON_BLOCKS_H

#include <cstdint>

#include <Python.h>

namespace RynvelPython {

/** Adds the type of the memory to the module. @throws PythonError */
void addBlockType(PyObject* module);

/**
 * Returns an object that exports memory for `items` registers as a buffer. The memory is initially 0.
 *
 * @param isBigEndian whether the format of the buffer says that the items have network byte order.
 * @throws PythonError
 */
PyObject* newBlock(std::uint64_t items, unsigned int width, bool isBigEndian);

/** Returns the memory of a block. */
void* memoryOf(PyObject* block);

} // namespace RynvelPython

#endif
