// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/thread_share.h"

#include <malloc.h>

#include <algorithm>
#include <deque>
#include <mutex>

namespace hub::platform {

constinit thread_local ThreadShare* ThreadShare::current_ = nullptr;

class ThreadShares {
 public:
  ThreadShare& take_one() {
    const std::lock_guard lock(mutex_);
    const auto left = std::find_if(shares_.begin(), shares_.end(), [](const auto& share) { return !share.taken_; });
    ThreadShare& share = left != shares_.end() ? *left : shares_.emplace_back();
    share.taken_ = true;
    return share;
  }

  void leave(ThreadShare& share) {
    const std::lock_guard lock(mutex_);
    share.taken_ = false;
  }

  std::int64_t count_of_all(CFTypeID type_id) {
    const std::lock_guard lock(mutex_);
    std::int64_t count = 0;
    for (const ThreadShare& share : shares_) {
      count += share.counts_[type_id].load(std::memory_order_relaxed);
    }
    return count;
  }

  static void leave_current();

 private:
  std::mutex mutex_;
  std::deque<ThreadShare> shares_;
};

namespace {

ThreadShares& shares() {
  static auto& all = *new ThreadShares;  // never destroyed: objects may go while the process ends
  return all;
}

struct LeavesAtTheEnd {
  LeavesAtTheEnd() = default;
  LeavesAtTheEnd(const LeavesAtTheEnd&) = delete;
  LeavesAtTheEnd& operator=(const LeavesAtTheEnd&) = delete;
  ~LeavesAtTheEnd() { ThreadShares::leave_current(); }
};

}  // namespace

void ThreadShares::leave_current() {
  shares().leave(*ThreadShare::current_);
  ThreadShare::current_ = nullptr;
}

// A thread that frees objects even after it left its share takes another one and does not leave that any more.
ThreadShare& ThreadShare::take_one() {
  current_ = &shares().take_one();
  static thread_local const LeavesAtTheEnd leaves_at_the_end;
  static_cast<void>(leaves_at_the_end);
  return *current_;
}

// Of a block that is large for one that nobody uses, the front stays.
void ThreadShare::keep_freed_of_unknown_length(void* memory) {
  constexpr std::size_t kLargestKeptBytes = 4096;
  if (malloc_usable_size(memory) > kLargestKeptBytes) {
    void* front = std::realloc(memory, sizeof(FreedObject));
    memory = front != nullptr ? front : memory;
  }
  freed_[0].add(memory);
}

std::int64_t ThreadShare::count_of_all(CFTypeID type_id) { return shares().count_of_all(type_id); }

}  // namespace hub::platform
