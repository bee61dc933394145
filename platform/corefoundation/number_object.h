// SPDX-License-Identifier: Apache-2.0
// How a number stands in memory.
#pragma once

#include <cstdint>

#include "CoreFoundation/CFNumber.h"
#include "corefoundation/object.h"

// An integer is kept in 64 bits, a real number in double precision; `fixed_type` says which.
struct __CFNumber : hub::platform::Object {
  __CFNumber(CFAllocatorRef owner, CFNumberType its_type, const void* value);

  [[nodiscard]] bool is_real() const {
    return fixed_type == kCFNumberFloat32Type || fixed_type == kCFNumberFloat64Type;
  }

  CFNumberType fixed_type;
  std::int64_t integer = 0;
  double real = 0;
};
