// SPDX-License-Identifier: Apache-2.0
// A thread's share of what is kept about all objects: counts of them, and the memory of those that it freed last. Only
// its own thread writes to it, so that no creation and no release waits for another thread or takes its cache lines.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "CoreFoundation/CFBase.h"

namespace hub::platform {

inline constexpr std::size_t kTypeIdLimit = 11;  // above the last type

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

  // Takes over memory of the heap in which there is no object any more. Gives back the memory that has been here
  // longest: the caller frees it. Null as long as there is room.
  void* exchange_freed(void* memory) {
    void* oldest = freed_[next_freed_];
    freed_[next_freed_] = memory;
    next_freed_ = (next_freed_ + 1) % freed_.size();
    return oldest;
  }

  // The sum over all threads.
  static std::int64_t count_of_all(CFTypeID type_id);

 private:
  friend class ThreadShares;

  static ThreadShare& take_one();

  // In the thread's static block: read at each creation and each release.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local ThreadShare* current_;

  std::array<std::atomic<std::int64_t>, kTypeIdLimit> counts_{};
  std::array<void*, 256> freed_{};
  std::size_t next_freed_ = 0;
  bool taken_ = true;
};

}  // namespace hub::platform
