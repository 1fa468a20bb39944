#ifndef RYNVEL_MESSAGETEXT_H
#define RYNVEL_MESSAGETEXT_H

#include <ostream>

#include "rynvel/Messages.h"

namespace Rynvel {

/** Lets a message be a piece of a trace text. */
inline std::ostream& operator<<(std::ostream& stream, const IMessage& message) { return message.toStream(stream); }

} // namespace Rynvel

#endif
