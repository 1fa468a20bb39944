// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include <pybind11/pybind11.h>

// An extension module with the baselines of the Python package: an empty function that pybind11 calls, and the bursts
// of the C interface.

namespace {

std::uint32_t empty(std::uint32_t /*address*/) { return 0; }

/** Reads the same burst into a buffer, several times. The device is "mapped32". */
void readBursts(const pybind11::buffer& buffer, std::size_t repetitions) {
    const pybind11::buffer_info info = buffer.request(true);
    const int handle = Rynvel_open("mapped32");
    if (handle == -1 || info.itemsize != sizeof(std::uint32_t)) {
        throw std::invalid_argument("the device cannot be opened, or the buffer does not have items of 32 bits");
    }
    auto* const values = static_cast<std::uint32_t*>(info.ptr);
    for (std::size_t i = 0; i < repetitions; ++i) {
        if (Rynvel_burstRead32(handle, 0, values, static_cast<unsigned int>(info.size), 0) != 0) {
            throw std::runtime_error("a burst failed");
        }
    }
}

} // namespace

PYBIND11_MODULE(python_baselines, module) {
    module.def("empty", empty);
    module.def("read_bursts", readBursts);
}
