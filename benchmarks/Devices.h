/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_BENCHMARKS_DEVICES_H
#define RYNVEL_BENCHMARKS_DEVICES_H

#include <rynvel.hpp>

#include <memory>
#include <string>

namespace RynvelBenchmark {

// Each function creates the stand-in for a device of devices.def, and returns the handle of the device. If the device
// cannot be opened, the function ends the program.
int openMapped();
int openSeekable();
int openInterrupt();
int openWaited();

/** Returns a remote device, which the caller owns. `server` has the form HOST::PORT. */
std::unique_ptr<Rynvel::Device32> connectRemote(const std::string& server, const std::string& name);

} // namespace RynvelBenchmark

#endif
