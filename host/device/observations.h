// SPDX-License-Identifier: Apache-2.0
// What the modelled kernel side sees of a plug-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace hub::host {

// Collected where nothing can be thrown. [any thread]
class Observations {
 public:
  // The plug-in broke a rule: a sentence about it. Without memory for it, it is one that says no more than that.
  void complain(std::string sentence) noexcept {
    const std::lock_guard lock(mutex_);
    try {
      complaints_.push_back(std::move(sentence));
    } catch (const std::bad_alloc&) {
      lost_complaint_ = true;
    }
  }

  [[nodiscard]] std::vector<std::string> complaints() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> all = complaints_;
    if (lost_complaint_) {
      all.emplace_back("what it was is not known for lack of memory");
    }
    return all;
  }

  // The plug-in was refused something without which it gives a service up: a driver that does not open, a HID device
  // that cannot be made.
  void count_refusal() { ++refusals_; }
  [[nodiscard]] std::uint64_t refusals() const { return refusals_; }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> complaints_;
  bool lost_complaint_ = false;
  std::atomic<std::uint64_t> refusals_ = 0;
};

}  // namespace hub::host
