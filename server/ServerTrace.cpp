// SPDX-License-Identifier: MIT
#include "ServerTrace.h"

namespace Rynveld {

ZilTrace serverTrace("Rynveld", Rynvel::channelLevel, Rynvel::channelHeaderOption);

} // namespace Rynveld
