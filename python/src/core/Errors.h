/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The exceptions of the package, for C++ code.
 */
#ifndef RYNVEL_PYTHON_ERRORS_H
#define RYNVEL_PYTHON_ERRORS_H

#include <stdexcept>
#include <string>

#include <Python.h>

namespace RynvelPython {

/** The exception classes of rynvel._errors, and the exceptions of Python that the module raises itself. */
enum class ErrorKind {
    Error,
    UnknownDevice,
    MissingFile,
    PermissionDenied,
    Device,
    Bus,
    Range,
    Alignment,
    ValueTooWide,
    Width,
    Unsupported,
    InUse,
    Refused,
    ConnectionLost,
    Timeout,
    Closed,
    Forked,
    Value,
    Type
};

/** The failure of an operation. Code that does not hold the GIL may throw it. */
class OperationError : public std::runtime_error {
public:
    /** @param systemError the error number of a system call; 0 if there is none. */
    OperationError(ErrorKind kind, const std::string& text, int systemError = 0)
        : std::runtime_error(text), m_kind(kind), m_systemError(systemError) {}

    ErrorKind kind() const { return m_kind; }
    int systemError() const { return m_systemError; }

private:
    ErrorKind m_kind;
    int m_systemError;
};

/** Thrown if the error indicator of the interpreter is set. */
struct PythonError {};

/** Imports the exception classes. Call this function before the others. @throws PythonError */
void loadErrors();

/**
 * Sets the error indicator. The text may contain any bytes.
 *
 * @param systemError the error number of a system call; 0 if there is none.
 * @return null, so that a function of the module that fails can return this result.
 */
PyObject* raise(ErrorKind kind, const std::string& text, int systemError = 0);

/** Sets the error indicator to the current C++ exception. Call this function in an exception handler. @return null. */
PyObject* raiseCurrent();

/** Calls a function, and returns its result. If the function throws, sets the error indicator and returns null. */
template <typename Function>
PyObject* guarded(const Function& function) {
    try {
        return function();
    } catch (...) {
        return raiseCurrent();
    }
}

} // namespace RynvelPython

#endif
