/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The time-out of a command.
 */
#ifndef RYNVELCTL_COMMANDTIMEOUT_H
#define RYNVELCTL_COMMANDTIMEOUT_H

#include <chrono>
#include <optional>
#include <string>

#include "Deadline.h"

namespace Rynvelctl {

class Failure;

/** The time-out of the whole command. It starts when the object is constructed. */
class CommandTimeout {
public:
    /**
     * @param limit the time-out; none for a command without a time-out. In that case, each answer from a server has a
     * time-out of 5 s.
     */
    explicit CommandTimeout(std::optional<std::chrono::milliseconds> limit);

    const Common::Deadline& deadline() const { return m_deadline; }

    /** @throws Failure if the deadline has passed. @param name the device or file for the error message. */
    void requireTimeLeft(const std::string& name) const;

    /** Returns the failure of a command that has reached its time-out. @param name as in requireTimeLeft(). */
    Failure failure(const std::string& name) const;

    /**
     * Returns the deadline for the answer to a request that you send now. This is the deadline of the command, or 5 s
     * from now for a command without a time-out.
     */
    Common::Deadline answerDeadline() const;

    /** Returns whether the command itself has a time-out. */
    bool isLimited() const { return m_limit.has_value(); }

    /** Returns the time-out of the command as text, for example "5 s"; without one, returns that of an answer. */
    std::string limitText() const;

private:
    std::optional<std::chrono::milliseconds> m_limit;
    Common::Deadline m_deadline;
};

} // namespace Rynvelctl

#endif
