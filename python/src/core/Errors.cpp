// SPDX-License-Identifier: MIT
#include "Errors.h"

#include <array>
#include <new>

namespace RynvelPython {

namespace {

constexpr std::array<const char*, 17> classNames{"Error",
                                                 "UnknownDeviceError",
                                                 "MissingFileError",
                                                 "PermissionDeniedError",
                                                 "DeviceError",
                                                 "BusError",
                                                 "RangeError",
                                                 "AlignmentError",
                                                 "ValueTooWideError",
                                                 "WidthError",
                                                 "UnsupportedError",
                                                 "InUseError",
                                                 "RefusedError",
                                                 "ConnectionLostError",
                                                 "DeviceTimeoutError",
                                                 "ClosedError",
                                                 "ForkedError"};

/** The exception classes. The module never releases these references. */
std::array<PyObject*, classNames.size()> classes{};

PyObject* classOf(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::Value:
        return PyExc_ValueError;
    case ErrorKind::Type:
        return PyExc_TypeError;
    default:
        return classes[static_cast<std::size_t>(kind)];
    }
}

PyObject* newError(PyObject* type, PyObject* message, int systemError) {
    if (systemError == 0) {
        return PyObject_CallOneArg(type, message);
    }
    PyObject* const positional = PyTuple_Pack(1, message);
    PyObject* const named = Py_BuildValue("{s:i}", "errno", systemError);
    PyObject* const error =
        positional != nullptr && named != nullptr ? PyObject_Call(type, positional, named) : nullptr;
    Py_XDECREF(named);
    Py_XDECREF(positional);
    return error;
}

} // namespace

void loadErrors() {
    PyObject* const module = PyImport_ImportModule("rynvel._errors");
    if (module == nullptr) {
        throw PythonError();
    }
    for (std::size_t i = 0; i < classNames.size(); ++i) {
        Py_XSETREF(classes[i], PyObject_GetAttrString(module, classNames[i]));
        if (classes[i] == nullptr) {
            Py_DECREF(module);
            throw PythonError();
        }
    }
    Py_DECREF(module);
}

PyObject* raise(ErrorKind kind, const std::string& text, int systemError) {
    PyObject* const message =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace");
    if (message == nullptr) {
        return nullptr;
    }
    PyObject* const type = classOf(kind);
    if (PyObject* const error = newError(type, message, systemError)) {
        PyErr_SetObject(type, error);
        Py_DECREF(error);
    }
    Py_DECREF(message);
    return nullptr;
}

PyObject* raiseCurrent() {
    try {
        throw;
    } catch (const PythonError&) {
        return nullptr;
    } catch (const OperationError& error) {
        return raise(error.kind(), error.what(), error.systemError());
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    } catch (const std::exception& error) {
        return raise(ErrorKind::Error, error.what());
    }
}

} // namespace RynvelPython
