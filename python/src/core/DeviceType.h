/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The Python types for open devices and for the use of their interrupts.
 *
 * The types use the C interface of Python directly. The dispatcher of pybind11 alone would take longer than the read of
 * a mapped register.
 */
#ifndef RYNVEL_PYTHON_DEVICETYPE_H
#define RYNVEL_PYTHON_DEVICETYPE_H

#include <Python.h>

namespace RynvelPython {

/** Adds the types to the module. @throws PythonError */
void addDeviceTypes(PyObject* module);

} // namespace RynvelPython

#endif
