// SPDX-License-Identifier: MIT
#include "support/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t t_allocations = 0;

} // namespace

std::size_t allocationCount() { return t_allocations; }

void* operator new(std::size_t size) {
    ++t_allocations;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
