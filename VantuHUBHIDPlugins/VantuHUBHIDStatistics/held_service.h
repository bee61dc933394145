// SPDX-License-Identifier: Apache-2.0
// One reference to a registry handle, given back when its owner goes.
#pragma once

#include "IOKit/IOKitLib.h"

// Owns a handle that a registry call handed out, or none.
class HeldService {
 public:
  explicit HeldService(io_service_t service = IO_OBJECT_NULL) : service_(service) {}
  HeldService(const HeldService&) = delete;
  HeldService& operator=(const HeldService&) = delete;
  ~HeldService() {
    if (service_ != IO_OBJECT_NULL) {
      IOObjectRelease(service_);
    }
  }

  [[nodiscard]] io_service_t get() const { return service_; }

  // Where a call that hands out a handle puts it.
  [[nodiscard]] io_service_t* out() { return &service_; }

 private:
  io_service_t service_;
};
