/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_CHANNEL_H
#define ZILTRACE_CHANNEL_H

#include "ZilTrace.h"

#include <atomic>
#include <string>

namespace ziltrace {

/** The data of a ZilTrace object that the classes of the library share. */
struct Channel {
    const std::string name;
    const ZilTraceLevel constructedLevel;
    const ZilTraceHdrOption option;
    std::atomic<ZilTraceLevel>& level;
};

} // namespace ziltrace

#endif
