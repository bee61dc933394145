// SPDX-License-Identifier: Apache-2.0
// One reference to a CoreFoundation object, given back when its owner goes.
#pragma once

#include <utility>

#include "CoreFoundation/CFBase.h"

// Owns what a function with "Create" or "Copy" in its name returned: one reference, or NULL.
template <typename Ref>
class OwnedObject {
 public:
  explicit OwnedObject(Ref object) : object_(object) {}
  OwnedObject(OwnedObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  OwnedObject(const OwnedObject&) = delete;
  OwnedObject& operator=(const OwnedObject&) = delete;
  OwnedObject& operator=(OwnedObject&&) = delete;
  ~OwnedObject() {
    if (object_ != nullptr) {
      CFRelease(object_);
    }
  }

  [[nodiscard]] Ref get() const { return object_; }

  // Hands the reference to the caller.
  [[nodiscard]] Ref release() { return std::exchange(object_, nullptr); }

 private:
  Ref object_;
};
