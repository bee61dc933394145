// SPDX-License-Identifier: Apache-2.0
// The program is linked with --wrap=malloc.
#include "tests/support/failing_memory.h"

#include <atomic>
#include <cstddef>
#include <new>

namespace {

std::atomic<bool> there_is_none = false;

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size_bytes);   // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size_bytes);   // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size_bytes) {  // NOLINT(bugprone-reserved-identifier)
  return there_is_none.load() ? nullptr : __real_malloc(size_bytes);
}
}

void* operator new[](std::size_t size_bytes, const std::nothrow_t&) noexcept {
  try {
    return there_is_none.load() ? nullptr : ::operator new[](size_bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace hub::test {

NoMemory::NoMemory() { there_is_none.store(true); }
NoMemory::~NoMemory() { there_is_none.store(false); }

}  // namespace hub::test
