#ifndef RYNVEL_BENCHMARKS_DEVICES_H
#define RYNVEL_BENCHMARKS_DEVICES_H

#include <memory>
#include <string>

#include <rynvel.hpp>

namespace RynvelBenchmark {

// The handles of the devices of devices.def, each with the stand-in behind it.
int openMapped();
int openSeekable();
int openInterrupt();
int openWaited();

/** A device of a server, given as host "::" port. The caller owns it. */
std::unique_ptr<Rynvel::Device32> connectRemote(const std::string& server, const std::string& name);

} // namespace RynvelBenchmark

#endif
