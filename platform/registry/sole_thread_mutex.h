// SPDX-License-Identifier: Apache-2.0
// A mutex that costs next to nothing while the process has a single thread, as a tool that decodes a capture has.
#pragma once

#include <sys/single_threaded.h>

#include <mutex>

namespace hub::platform {

// What is done under the lock must start no thread.
class SoleThreadMutex {
 public:
  void lock() {
    const bool has_other_threads = __libc_single_threaded == 0;
    if (has_other_threads) {
      mutex_.lock();
    }
    is_locked_ = has_other_threads;
  }

  void unlock() {
    if (is_locked_) {
      mutex_.unlock();
    }
  }

 private:
  std::mutex mutex_;
  bool is_locked_ = false;  // written and read by who has the lock
};

}  // namespace hub::platform
