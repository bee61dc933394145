// SPDX-License-Identifier: Apache-2.0
// Figures as people read them, the same in every locale. What is not known is "-".
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/figures/capture_summary.h"

namespace hub::host {

inline constexpr const char* kUnknown = "-";

std::string count_text(std::optional<std::uint64_t> count);

// Microseconds as seconds: 1.000250
std::string seconds_text(std::optional<std::uint64_t> time_us);

// A rate with one decimal; one that is more than nothing and would be 0.0 is <0.1.
std::string rate_text(std::optional<double> rate);

// A part of one, as a percentage like a rate: 12.5%, <0.1%
std::string share_text(std::optional<double> share);

// What stands for figures of a table that are not told apart, and for rows that are not shown.
inline constexpr const char* kOthersText = "(others)";
std::string more_text(std::size_t row_count);

// category, component, event
std::string level_text(Level level);

// sshb/latency/ckp_SSHBFingerON
std::string group_text(GroupKey key, Level level);

// "function 17", "extfunction hub_boot"; a name's bytes that are no text are escaped.
std::string function_text(const FunctionKey& key);

// What stands below tables whose figures need it: percentiles that are not exact, a row of others.
std::string estimates_note();
std::string others_note();

}  // namespace hub::host
