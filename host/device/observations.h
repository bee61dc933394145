// SPDX-License-Identifier: Apache-2.0
// What the modelled kernel side sees of a plug-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace hub::host {

// Collected where nothing can be thrown. [any thread]
class Observations {
 public:
  // The plug-in broke a rule: a sentence about it.
  void complain(std::string sentence) {
    const std::lock_guard lock(mutex_);
    complaints_.push_back(std::move(sentence));
  }

  [[nodiscard]] std::vector<std::string> complaints() const {
    const std::lock_guard lock(mutex_);
    return complaints_;
  }

  // The plug-in was refused something without which it gives a service up: a driver that does not open, a HID device
  // that cannot be made.
  void count_refusal() { ++refusals_; }
  [[nodiscard]] std::uint64_t refusals() const { return refusals_; }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> complaints_;
  std::atomic<std::uint64_t> refusals_ = 0;
};

}  // namespace hub::host
