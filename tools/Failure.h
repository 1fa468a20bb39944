/**
 * @file
 * What ends a command before it is done.
 */
#ifndef RYNVELCTL_FAILURE_H
#define RYNVELCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace Rynvelctl {

/** The exit status of the program. */
enum class ExitStatus { Done = 0, Failed = 1, WrongUsage = 2, Unreachable = 3, TimedOut = 4 };

/** Ends the command; the text is what the user reads. */
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), m_status(status) {}

    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

inline Failure wrongUsage(const std::string& text) { return {ExitStatus::WrongUsage, text}; }

/** The line that is written to standard error, line end included. Control characters become question marks. */
std::string diagnostic(const std::string& text);

/** Writes it. There is nobody left to tell that standard error is gone. */
void complain(const std::string& text);

} // namespace Rynvelctl

#endif
