// SPDX-License-Identifier: MIT
#include "support/WriteTap.h"

#include <atomic>
#include <utility>

#include <dlfcn.h>
#include <unistd.h>

namespace {

std::atomic<WriteTap*> activeTap{nullptr};

} // namespace

WriteTap::WriteTap(Reaction reaction) : m_reaction(std::move(reaction)) { activeTap = this; }

WriteTap::~WriteTap() { activeTap = nullptr; }

std::vector<WriteTap::Call> WriteTap::calls() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

ssize_t WriteTap::take(int descriptor, const void* data, std::size_t size) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back({descriptor, std::string(static_cast<const char*>(data), size)});
    }
    return m_reaction(descriptor, data, size);
}

ssize_t WriteTap::forward(int descriptor, const void* data, std::size_t size) {
    using Write = ssize_t (*)(int, const void*, std::size_t);
    static const auto next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "write"));
    return next(descriptor, data, size);
}

ssize_t WriteTap::swallow(int, const void*, std::size_t size) { return static_cast<ssize_t>(size); }

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t write(int descriptor, const void* data, std::size_t size) {
    WriteTap* const tap = activeTap;
    return tap != nullptr ? tap->take(descriptor, data, size) : WriteTap::forward(descriptor, data, size);
}
