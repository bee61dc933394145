// SPDX-License-Identifier: Apache-2.0
// The program is linked with --wrap=malloc and --wrap=tss_set (hub_failing_memory of the tests' CMake file).
#include "tests/support/failing_memory.h"

#include <dlfcn.h>
#include <threads.h>

#include <atomic>
#include <cstddef>
#include <new>

namespace {

std::atomic<bool> there_is_none = false;
std::atomic<bool> there_is_none_by_new = false;

using New = void*(std::size_t size_bytes);
using Delete = void(void* memory);

// The C++ library's, or a sanitizer's before it; what one gives the other takes back.
New* next_new() {
  static New* const next = reinterpret_cast<New*>(dlsym(RTLD_NEXT, "_Znwm"));
  return next;
}

Delete* next_delete() {
  static Delete* const next = reinterpret_cast<Delete*>(dlsym(RTLD_NEXT, "_ZdlPv"));
  return next;
}

}  // namespace

// Visible: the linker takes what a sanitizer's library asks for as malloc for this one, too.
#pragma GCC visibility push(default)
extern "C" {
void* __real_malloc(std::size_t size_bytes);   // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size_bytes);   // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(std::size_t size_bytes) {  // NOLINT(bugprone-reserved-identifier)
  return there_is_none.load() ? nullptr : __real_malloc(size_bytes);
}

int __real_tss_set(tss_t key, void* value);   // NOLINT(bugprone-reserved-identifier)
int __wrap_tss_set(tss_t key, void* value);   // NOLINT(bugprone-reserved-identifier)
int __wrap_tss_set(tss_t key, void* value) {  // NOLINT(bugprone-reserved-identifier)
  return there_is_none.load() ? thrd_error : __real_tss_set(key, value);
}
}
#pragma GCC visibility pop

void* operator new(std::size_t size_bytes) {
  if (there_is_none_by_new.load()) {
    throw std::bad_alloc();
  }
  return next_new()(size_bytes);
}

void* operator new(std::size_t size_bytes, const std::nothrow_t&) noexcept {
  try {
    return ::operator new(size_bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* operator new[](std::size_t size_bytes, const std::nothrow_t&) noexcept {
  try {
    return there_is_none.load() ? nullptr : ::operator new[](size_bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept { next_delete()(memory); }
void operator delete(void* memory, std::size_t /*size_bytes*/) noexcept { next_delete()(memory); }

namespace hub::test {

NoMemory::NoMemory() { there_is_none.store(true); }
NoMemory::~NoMemory() { there_is_none.store(false); }

NoMemoryByNew::NoMemoryByNew() { there_is_none_by_new.store(true); }
NoMemoryByNew::~NoMemoryByNew() { there_is_none_by_new.store(false); }

}  // namespace hub::test
