// SPDX-License-Identifier: Apache-2.0
// A thread's share of what is kept about all objects: counts of them, and the memory of those that it freed. Only its
// own thread writes to it, so that no creation and no release waits for another thread or takes its cache lines.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "corefoundation/object_head.h"

namespace hub::platform {

// Blocks of the heap in which objects were freed, the oldest first. Each stays for a while, with a mark in it, so that
// who still uses the object is found out before the memory becomes something else.
class FreedQueue {
 public:
  // The block that has been here longest, once there are some 4 KiB of blocks of this length here. Else NULL.
  void* take(std::size_t block_bytes) {
    constexpr std::size_t kFewest = 4;
    constexpr std::size_t kKeptBytes = 4096;
    return count_ > kFewest && count_ * block_bytes > kKeptBytes ? take_oldest() : nullptr;
  }

  void add(void* block);

 private:
  void* take_oldest() {
    FreedObject* oldest = oldest_;
    oldest_ = oldest->next;
    --count_;
    return oldest;
  }

  FreedObject* oldest_ = nullptr;
  FreedObject* newest_ = nullptr;  // while there is an oldest
  std::size_t count_ = 0;
};

class ThreadShare {
 public:
  // The calling thread's. A thread that ends leaves its share, as it is, to one that comes later.
  static ThreadShare& of_this_thread() { return current_ != nullptr ? *current_ : take_one(); }

  // `change` objects of this type came into being, or went when it is negative. One share may count less than none:
  // objects go in other threads than they came in.
  void count(CFTypeID type_id, int change) {
    std::atomic<std::int64_t>& count = counts_[type_id];
    count.store(count.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
  }

  // Memory for an object, to be freed by keep_freed(): that of an object that has been gone for long, past the heap's
  // own books, or new. Null when the heap has none.
  void* object_memory(std::size_t length_bytes) {
    const std::size_t steps = (length_bytes + kStepBytes - 1) / kStepBytes;
    void* memory = steps < freed_.size() ? freed_[steps].take(steps * kStepBytes) : nullptr;
    return memory != nullptr ? memory : std::malloc(steps * kStepBytes);
  }

  // Takes over memory of the heap in which there is no object any more.
  void keep_freed(void* memory);

  // The sum over all threads.
  static std::int64_t count_of_all(CFTypeID type_id);

 private:
  friend class ThreadShares;

  static constexpr std::size_t kStepBytes = 16;
  static constexpr std::size_t kLargestReusedBytes = 1536;

  static ThreadShare& take_one();

  // In the thread's static block: read at each creation and each release.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local ThreadShare* current_;

  std::array<std::atomic<std::int64_t>, kTypeIdLimit> counts_{};
  std::array<FreedQueue, kLargestReusedBytes / kStepBytes + 1> freed_{};  // by whole steps of their usable lengths
  FreedQueue large_freed_;
  bool taken_ = true;
};

}  // namespace hub::platform
