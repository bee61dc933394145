// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/allocations/failing_allocations.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "platform_abi.h"

// The C library's own heap, by the names that it has for those who stand before it.
extern "C" {
void* __libc_malloc(std::size_t length_bytes);
void* __libc_calloc(std::size_t count, std::size_t length_bytes);
void* __libc_realloc(void* block, std::size_t length_bytes);
void* __libc_memalign(std::size_t alignment, std::size_t length_bytes);
void __libc_free(void* block);
}

namespace hub::test {
namespace {

constinit std::atomic<std::uint64_t> first_failing{0};
constinit std::atomic<bool> and_all_later{false};
constinit std::atomic<std::uint64_t> allocations{0};
constinit std::atomic<bool> is_remembering{false};
constinit std::atomic<void (*)()> told_of_failures{nullptr};

bool fails_now() {
  const std::uint64_t number = allocations.fetch_add(1, std::memory_order_relaxed) + 1;
  const std::uint64_t first = first_failing.load(std::memory_order_relaxed);
  const bool failing = first != 0 && (number == first || (number > first && and_all_later));
  if (failing) {
    if (const auto told = told_of_failures.load()) {
      told();
    }
    errno = ENOMEM;
  }
  return failing;
}

// The blocks that are out, by their addresses, in memory of its own: a table with a place for each block near where its
// address leads to.
class Blocks {
 public:
  void add(void* block) {
    const std::lock_guard lock(mutex_);
    void** place = find(nullptr, block);
    *place = block;
  }

  // The rest of a row of neighbours moves up, so that none is behind a gap.
  void remove(void* block) {
    const std::lock_guard lock(mutex_);
    void** place = find(block, block);
    if (*place == nullptr) {
      return;
    }
    *place = nullptr;
    for (std::size_t at = next(static_cast<std::size_t>(place - places_.data())); places_[at] != nullptr;
         at = next(at)) {
      void* moved = std::exchange(places_[at], nullptr);
      *find(nullptr, moved) = moved;
    }
  }

  template <typename Look>
  void look(const Look& look_at) {
    for (void* block : places_) {
      if (block != nullptr) {
        look_at(block);
      }
    }
  }

 private:
  static constexpr std::size_t kPlaces = std::size_t{1} << 16U;

  static std::size_t next(std::size_t at) { return (at + 1) % kPlaces; }

  // Where `wanted` stands, or the first free place behind where `block` belongs.
  void** find(const void* wanted, const void* block) {
    std::size_t at = (reinterpret_cast<std::uintptr_t>(block) >> 4U) * 0x9E3779B97F4A7C15U >> 48U;
    while (places_[at] != wanted && places_[at] != nullptr) {
      at = next(at);
    }
    return &places_[at];
  }

  std::mutex mutex_;
  std::array<void*, kPlaces> places_{};
};

constinit Blocks blocks;

void* remembered(void* block) {
  if (block != nullptr && is_remembering.load(std::memory_order_relaxed)) {
    blocks.add(block);
  }
  return block;
}

void forget(void* block) {
  if (block != nullptr && is_remembering.load(std::memory_order_relaxed)) {
    blocks.remove(block);
  }
}

}  // namespace

void fail_allocations(const AllocationPlan& plan) {
  and_all_later = plan.and_all_later;
  allocations = 0;
  first_failing = plan.first;
}

std::uint64_t end_failing_allocations() {
  first_failing = 0;
  return allocations;
}

void remember_blocks() { is_remembering = true; }

void look_at_blocks(void (*look)(const void* block, std::size_t length_bytes, void* context), void* context) {
  blocks.look([&](void* block) { look(block, malloc_usable_size(block), context); });
}

void tell_failures_to(void (*told)()) { told_of_failures = told; }

}  // namespace hub::test

using namespace hub::test;

extern "C" {

PLATFORM_EXPORT void* malloc(std::size_t length_bytes) {
  return fails_now() ? nullptr : remembered(__libc_malloc(length_bytes));
}

PLATFORM_EXPORT void* calloc(std::size_t count, std::size_t length_bytes) {
  return fails_now() ? nullptr : remembered(__libc_calloc(count, length_bytes));
}

PLATFORM_EXPORT void* realloc(void* block, std::size_t length_bytes) {
  if (fails_now()) {
    return nullptr;
  }
  forget(block);
  void* moved = __libc_realloc(block, length_bytes);
  return remembered(moved != nullptr || length_bytes == 0 ? moved : block) == moved ? moved : nullptr;
}

PLATFORM_EXPORT void* memalign(std::size_t alignment, std::size_t length_bytes) {
  return fails_now() ? nullptr : remembered(__libc_memalign(alignment, length_bytes));
}

PLATFORM_EXPORT void* aligned_alloc(std::size_t alignment, std::size_t length_bytes) {
  return memalign(alignment, length_bytes);
}

PLATFORM_EXPORT int posix_memalign(void** block, std::size_t alignment, std::size_t length_bytes) {
  void* made = memalign(alignment, length_bytes);
  if (made == nullptr) {
    return ENOMEM;
  }
  *block = made;
  return 0;
}

PLATFORM_EXPORT void free(void* block) {
  forget(block);
  __libc_free(block);
}

}  // extern "C"
