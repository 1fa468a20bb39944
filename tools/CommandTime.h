/**
 * @file
 * How long a command may take.
 */
#ifndef RYNVELCTL_COMMANDTIME_H
#define RYNVELCTL_COMMANDTIME_H

#include <chrono>
#include <optional>
#include <string>

#include "Deadline.h"

namespace Rynvelctl {

/** The time of the whole command. It begins when the object is made. */
class CommandTime {
public:
    /** @param limit none for a command that may go on for ever. The answers of servers have a limit all the same. */
    explicit CommandTime(std::optional<std::chrono::milliseconds> limit);

    const Common::Deadline& deadline() const { return m_deadline; }

    /** @throws Failure when the time is over. @param name what the command is about. */
    void require(const std::string& name) const;

    /** By when a server must have answered what it is asked now: the end of the command, or 5 s when that has none. */
    Common::Deadline answerDeadline() const;

    /** Whether the command itself has a limit. */
    bool isLimited() const { return m_limit.has_value(); }

    /** The limit in words, for instance "5 s". */
    std::string limit() const;

private:
    std::optional<std::chrono::milliseconds> m_limit;
    Common::Deadline m_deadline;
};

} // namespace Rynvelctl

#endif
