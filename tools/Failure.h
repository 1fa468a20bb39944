/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The failure of a command.
 */
#ifndef RYNVELCTL_FAILURE_H
#define RYNVELCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace Rynvelctl {

enum class ExitStatus { Done = 0, Failed = 1, UsageError = 2, Unreachable = 3, TimedOut = 4 };

/** Thrown to end the command with a status. what() is the error message, without the name of the program. */
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), m_status(status) {}

    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

/** The failure of a request without a valid answer. The server may have carried out the request. */
class UnansweredRequest : public Failure {
public:
    explicit UnansweredRequest(const Failure& failure) : Failure(failure) {}
};

/** Thrown to end the command with a status and without an error message. */
struct ExitWithStatus {
    ExitStatus status;
};

inline Failure usageError(const std::string& text) { return {ExitStatus::UsageError, text}; }

/**
 * Returns the failure that describes the current exception. Call this function only in an exception handler.
 *
 * @throws the exception itself if it is not derived from std::exception.
 */
Failure caughtFailure();

/**
 * Returns an error message as a whole line, with the text of the current ErrorPrefix, if there is one. A question mark
 * replaces every character that controls a terminal.
 */
std::string errorLine(const std::string& text);

/** Writes an error message to standard error. */
void printError(const std::string& text);

/** Puts a text before each error message as long as the object exists. At most one object may exist. */
class ErrorPrefix {
public:
    explicit ErrorPrefix(const std::string& text);
    ErrorPrefix(const ErrorPrefix&) = delete;
    ErrorPrefix& operator=(const ErrorPrefix&) = delete;
    ~ErrorPrefix();
};

} // namespace Rynvelctl

#endif
