// SPDX-License-Identifier: MIT
#include "Report.h"

#include <algorithm>
#include <numeric>

#include "RegisterWord.h"

namespace Rynvelctl {

namespace {

std::uint64_t valueOf(const RegisterValue& read) { return read.value; }
std::uint64_t valueOf(const FieldReading& read) { return read.field.value; }
std::uint64_t valueOf(const BitsReading& read) { return read.value; }

} // namespace

std::uint64_t numberIn(const Reading& reading) {
    return std::visit([](const auto& read) { return valueOf(read); }, reading);
}

const RegisterRange& rangeOf(const Reading& reading) {
    return std::visit([](const auto& read) -> const RegisterRange& { return read.range; }, reading);
}

std::size_t LoadedRange::bytes() const { return std::size_t{range.count()} * Common::bytesOf(range.device().width()); }

std::chrono::nanoseconds RoundTrips::shortest() const { return *std::min_element(times.begin(), times.end()); }

std::chrono::nanoseconds RoundTrips::mean() const {
    return std::accumulate(times.begin(), times.end(), std::chrono::nanoseconds(0)) /
           static_cast<std::int64_t>(times.size());
}

std::chrono::nanoseconds RoundTrips::longest() const { return *std::max_element(times.begin(), times.end()); }

} // namespace Rynvelctl
