// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/thread_share.h"

#include <malloc.h>
#include <pthread.h>

#include <mutex>
#include <new>

namespace hub::platform {

constinit thread_local ThreadShare* ThreadShare::current_ = nullptr;

// All shares that there are; none is ever given back, for objects may go while the process ends.
class ThreadShares {
 public:
  ThreadShare* take_one() {
    const std::lock_guard lock(mutex_);
    for (ThreadShare* share = first_; share != nullptr; share = share->next_) {
      if (!share->taken_) {
        share->taken_ = true;
        return share;
      }
    }
    auto* share = new (std::nothrow) ThreadShare;
    if (share != nullptr) {
      share->next_ = first_;
      first_ = share;
    }
    return share;
  }

  void leave(ThreadShare& share) {
    const std::lock_guard lock(mutex_);
    share.taken_ = false;
  }

  void count_without_share(CFTypeID type_id, int change) {
    const std::lock_guard lock(mutex_);
    without_share_.count(type_id, change);
  }

  std::int64_t count_of_all(CFTypeID type_id) {
    const std::lock_guard lock(mutex_);
    std::int64_t count = without_share_.counts_[type_id].load(std::memory_order_relaxed);
    for (const ThreadShare* share = first_; share != nullptr; share = share->next_) {
      count += share->counts_[type_id].load(std::memory_order_relaxed);
    }
    return count;
  }

  static void leave_current(void* share);

 private:
  std::mutex mutex_;
  ThreadShare* first_ = nullptr;
  ThreadShare without_share_;
};

namespace {

constinit ThreadShares shares;

// By this a thread leaves its share when it ends. Objects of the language that are destroyed with a thread would do,
// but they end the process when there is no memory to note them.
pthread_key_t key_of_share() {
  static const pthread_key_t key = [] {
    pthread_key_t created = 0;
    pthread_key_create(&created, ThreadShares::leave_current);
    return created;
  }();
  return key;
}

}  // namespace

void ThreadShares::leave_current(void* share) {
  shares.leave(*static_cast<ThreadShare*>(share));
  ThreadShare::current_ = nullptr;
}

ThreadShare* ThreadShare::take_one() {
  ThreadShare* share = shares.take_one();
  if (share != nullptr && pthread_setspecific(key_of_share(), share) != 0) {
    shares.leave(*share);
    return nullptr;
  }
  return current_ = share;
}

void ThreadShare::count_without_share(CFTypeID type_id, int change) { shares.count_without_share(type_id, change); }

// Of a block that is large for one that nobody uses, the front stays.
void ThreadShare::keep_freed_of_unknown_length(void* memory) {
  constexpr std::size_t kLargestKeptBytes = 4096;
  if (malloc_usable_size(memory) > kLargestKeptBytes) {
    void* front = std::realloc(memory, sizeof(FreedObject));
    memory = front != nullptr ? front : memory;
  }
  freed_[0].add(memory);
}

std::int64_t ThreadShare::count_of_all(CFTypeID type_id) { return shares.count_of_all(type_id); }

}  // namespace hub::platform
