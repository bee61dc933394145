// SPDX-License-Identifier: Apache-2.0
// How a platform function asks whether it is to fail this time: first thing in it, once a call.
#pragma once

#include <atomic>
#include <optional>

#include "failures/failures_host.h"

namespace hub::platform {

extern std::atomic<bool> failures_are_planned;

// What is behind the two questions below while a plan is in force.
bool is_planned_to_fail(Fallible function);
std::optional<std::int32_t> planned_code(Fallible function);

// For a function that fails by giving NULL, false or 0.
inline bool fails(Fallible function) {
  return failures_are_planned.load(std::memory_order_relaxed) && is_planned_to_fail(function);
}

// For a function that returns a code: the one to return, or nothing.
inline std::optional<std::int32_t> failing_code(Fallible function) {
  return failures_are_planned.load(std::memory_order_relaxed) ? planned_code(function) : std::nullopt;
}

// The same, without an optional to carry about, for functions that are asked once a record.
inline bool fails(Fallible function, std::int32_t& code) {
  if (!failures_are_planned.load(std::memory_order_relaxed)) [[likely]] {
    return false;
  }
  const std::optional<std::int32_t> planned = planned_code(function);
  code = planned.value_or(code);
  return planned.has_value();
}

}  // namespace hub::platform
