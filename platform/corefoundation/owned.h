// SPDX-License-Identifier: Apache-2.0
// One reference to a CoreFoundation object, given back when its owner goes.
#pragma once

#include <utility>

#include "CoreFoundation/CFBase.h"

namespace hub::platform {

// Owns one reference to an object, or none. Made from what a function with "Create" or "Copy" in its name returned.
template <typename Ref>
class Owned {
 public:
  Owned() = default;
  explicit Owned(Ref object) : object_(object) {}
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (object_ != nullptr) {
      CFRelease(object_);
    }
  }

  [[nodiscard]] Ref get() const { return object_; }

  // Hands the reference to the caller.
  [[nodiscard]] Ref release() { return std::exchange(object_, nullptr); }

 private:
  Ref object_ = nullptr;
};

}  // namespace hub::platform
