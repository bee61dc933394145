// SPDX-License-Identifier: Apache-2.0
// A thread's share of what is kept about all objects: counts of them, and the memory of those that it freed. Only its
// own thread writes to it, so that no creation and no release waits for another thread or takes its cache lines.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

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

  void add(void* block) {
    constexpr std::size_t kMost = 128;
    FreedObject* freed = std::construct_at(static_cast<FreedObject*>(block));
    (count_ == 0 ? oldest_ : newest_->next) = freed;
    newest_ = freed;
    if (++count_ > kMost) {
      std::free(take_oldest());
    }
  }

 private:
  void* take_oldest() {
    FreedObject* oldest = oldest_;
    oldest_ = oldest->next;
    __builtin_prefetch(oldest_, 1);  // the next object is created there
    --count_;
    return oldest;
  }

  FreedObject* oldest_ = nullptr;
  FreedObject* newest_ = nullptr;  // while there is an oldest
  std::size_t count_ = 0;
};

class ThreadShare {
 public:
  // The calling thread's. A thread that ends leaves its share, as it is, to one that comes later. Null when there is no
  // memory for one.
  static ThreadShare* of_this_thread() { return current_ != nullptr ? current_ : take_one(); }

  // `change` objects of this type came into being, or went when it is negative. One share may count less than none:
  // objects go in other threads than they came in.
  void count(CFTypeID type_id, int change) {
    std::atomic<std::int64_t>& count = counts_[type_id];
    count.store(count.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
  }

  // Lengths of memory are counted in steps of 16 bytes. Those of larger objects are not told: 0.
  static std::uint16_t steps_of(std::size_t length_bytes) {
    const std::size_t steps = (length_bytes + kStepBytes - 1) / kStepBytes;
    return static_cast<std::uint16_t>(steps <= kMostSteps ? steps : 0);
  }

  // Memory of so many steps for an object: that of one that has been gone for long, past the heap's own books, or new.
  // Null when the heap has none.
  void* object_memory(std::uint16_t steps) {
    void* memory = freed_[steps].take(steps * kStepBytes);
    return memory != nullptr ? memory : std::malloc(steps * kStepBytes);
  }

  // Takes over memory of the heap, of at least so many steps, in which there is no object any more.
  void keep_freed(void* memory, std::uint16_t steps) {
    if (steps != 0) {
      freed_[steps].add(memory);
    } else {
      keep_freed_of_unknown_length(memory);
    }
  }

  // The same for a thread for whose share there is no memory: others may do so at the same time.
  static void count_without_share(CFTypeID type_id, int change);

  // The sum over all threads.
  static std::int64_t count_of_all(CFTypeID type_id);

 private:
  friend class ThreadShares;

  static constexpr std::size_t kStepBytes = 16;
  static constexpr std::size_t kMostSteps = 96;

  static ThreadShare* take_one();
  void keep_freed_of_unknown_length(void* memory);

  // In the thread's static block: read at each creation and each release.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local ThreadShare* current_;

  std::array<std::atomic<std::int64_t>, kTypeIdLimit> counts_{};
  std::array<FreedQueue, kMostSteps + 1> freed_{};  // by their lengths in steps, and first those of other lengths
  bool taken_ = true;
  ThreadShare* next_ = nullptr;  // of all that there are
};

}  // namespace hub::platform
