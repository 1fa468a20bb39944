// SPDX-License-Identifier: MIT
#include "Devices.h"

#include <rynvel.h>

#include "Require.h"
#include "StandIns.h"

namespace RynvelBenchmark {

int openMapped() {
    MemoryRegisters::get();
    return require(Rynvel_open("mapped32"), "open \"mapped32\"");
}

int openSeekable() {
    MemoryRegisters::get();
    return require(Rynvel_open("seek32"), "open \"seek32\"");
}

int openInterrupt() {
    InterruptSource::get();
    return require(Rynvel_open("interrupt32"), "open \"interrupt32\"");
}

int openWaited() {
    InterruptSource::get();
    return require(Rynvel_open("waited32"), "open \"waited32\"");
}

std::unique_ptr<Rynvel::Device32> connectRemote(const std::string& server, const std::string& name) {
    using Rynvel::PthreadMutex;
    return std::make_unique<Rynvel::Remote<std::uint32_t>>(
        name, server, std::make_unique<PthreadMutex>(Rynvel::PthreadMutexType::None));
}

} // namespace RynvelBenchmark
