// SPDX-License-Identifier: Apache-2.0
#include "bench/allocation_count.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> count{0};

}  // namespace

std::uint64_t hub::bench::allocation_count() { return count.load(std::memory_order_relaxed); }

void* operator new(std::size_t length_bytes) {
  count.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(length_bytes)) {
    return memory;
  }
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
