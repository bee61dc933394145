// SPDX-License-Identifier: Apache-2.0
// Sees that an object that is for one thread at a time is used so.
#pragma once

#include <atomic>

#include "corefoundation/misuse.h"

namespace hub::platform {

// In use for as long as this lives; if it was before, that is a misuse. Costs next to nothing and orders nothing: two
// threads that enter at the very same moment may go unseen.
class SoleUse {
 public:
  SoleUse(std::atomic<bool>& in_use, const char* function) : in_use_(in_use) {
    if (in_use.load(std::memory_order_relaxed)) [[unlikely]] {
      misuse(function, "called while another thread uses the object");
    }
    in_use.store(true, std::memory_order_relaxed);
  }
  SoleUse(const SoleUse&) = delete;
  SoleUse& operator=(const SoleUse&) = delete;
  ~SoleUse() { in_use_.store(false, std::memory_order_relaxed); }

 private:
  std::atomic<bool>& in_use_;
};

}  // namespace hub::platform
