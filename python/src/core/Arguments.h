/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Conversions of arguments. A function that fails sets the error indicator, and throws PythonError.
 */
#ifndef RYNVEL_PYTHON_ARGUMENTS_H
#define RYNVEL_PYTHON_ARGUMENTS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <Python.h>

#include "OpenDevice.h"

namespace RynvelPython {

/** The positional and named arguments of a call with the vectorcall protocol. */
struct Call {
    PyObject* const* arguments;
    Py_ssize_t count;
    PyObject* names;
};

/**
 * Stores the argument of each parameter of a call in `values`. A parameter without an argument gets null.
 *
 * @param names the names of the parameters. The first `maxPositional` may also be given by position.
 */
void assignArguments(const char* function, const Call& call, const char* const* names, PyObject** values,
                     std::size_t count, std::size_t maxPositional);

/** Fails with TypeError if a required argument is missing. */
void requireArgument(const char* function, const char* name, const PyObject* value);

/**
 * Returns the address of the first of `items` registers, in the unit of the device. Exactly one of `address`, a byte
 * address, and `index` must be an integer. The other one must be null or None.
 */
std::uint32_t parseAddress(const DeviceProperties& device, PyObject* address, PyObject* index, std::uint64_t items = 1);

/** Returns a value or a mask for a register of the device. @param what "value" or "mask", for messages. */
std::uint32_t parseValue(const DeviceProperties& device, const char* what, PyObject* value);

/** Returns a number of registers, from 0 to the number of registers of the device. */
std::uint64_t parseCount(const DeviceProperties& device, PyObject* value);

/** Returns whether the bytes of each register must be reversed. A null argument means the order of the processor. */
bool parseByteOrder(PyObject* order);

/** Returns a time-out, rounded up to milliseconds; none for None and null. @param allowsZero whether 0 is valid. */
std::optional<std::chrono::milliseconds> parseTimeout(PyObject* timeout, bool allowsZero);

/** Returns a text as UTF-8. @param isDeviceName whether an unusable text raises UnknownDeviceError, not ValueError. */
std::string parseText(const char* what, PyObject* text, bool isDeviceName);

} // namespace RynvelPython

#endif
