/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_MESSAGETEXT_H
#define RYNVEL_MESSAGETEXT_H

#include "rynvel/Messages.h"

#include <ostream>

namespace Rynvel {

/** Writes a message, so that trace points accept it as an argument. */
inline std::ostream& operator<<(std::ostream& stream, const IMessage& message) { return message.toStream(stream); }

} // namespace Rynvel

#endif
