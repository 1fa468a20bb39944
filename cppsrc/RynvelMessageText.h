/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_MESSAGETEXT_H
#define RYNVEL_MESSAGETEXT_H

#include "rynvel/Messages.h"

#include <ostream>

namespace Rynvel {

/** Writes a message as text. Trace points need this operator for arguments that are messages. */
inline std::ostream& operator<<(std::ostream& stream, const IMessage& message) { return message.toStream(stream); }

} // namespace Rynvel

#endif
