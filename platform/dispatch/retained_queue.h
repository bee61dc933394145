// SPDX-License-Identifier: Apache-2.0
// One reference to a queue, given back when its owner goes.
#pragma once

#include <utility>

#include "dispatch/dispatch.h"

namespace hub::platform {

// Retains a queue, or holds none. The last reference waits for the queue to end: it must not go under a lock that the
// queue's blocks take.
class RetainedQueue {
 public:
  explicit RetainedQueue(dispatch_queue_t queue) : queue_(queue) {
    if (queue_ != nullptr) {
      dispatch_retain(queue_);
    }
  }
  RetainedQueue(RetainedQueue&& other) noexcept : queue_(std::exchange(other.queue_, nullptr)) {}
  RetainedQueue(const RetainedQueue&) = delete;
  RetainedQueue& operator=(const RetainedQueue&) = delete;
  RetainedQueue& operator=(RetainedQueue&&) = delete;
  ~RetainedQueue() {
    if (queue_ != nullptr) {
      dispatch_release(queue_);
    }
  }

  // NULL: there is none.
  [[nodiscard]] dispatch_queue_t get() const { return queue_; }

 private:
  dispatch_queue_t queue_;
};

}  // namespace hub::platform
