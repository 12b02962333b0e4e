// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/counted_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<uint64_t> allocations{0};

}  // namespace

uint64_t ZYRA::Bench::Allocations() {
    return allocations;
}

void* operator new(size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* const block = std::malloc(size); block != nullptr) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept {
    std::free(block);
}
