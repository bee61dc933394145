// SPDX-License-Identifier: Apache-2.0
// What a capture is known to lack, or to have out of order.
#pragma once

#include <cstdint>
#include <string_view>

namespace hub::host {

struct LossCounts {
  std::uint64_t gaps = 0;             // places where sequence numbers are missing
  std::uint64_t missing_records = 0;  // how many are missing in all gaps
  std::uint64_t duplicates = 0;       // records whose sequence number was there before
  std::uint64_t reordered = 0;        // records that came after one with a later sequence number
  std::uint64_t clock_backwards = 0;  // records with a time before that of the record in front of them
  std::uint64_t restarts = 0;         // times that the co-processor began to count anew

  bool operator==(const LossCounts&) const = default;
};

struct LossItem {
  std::string_view key;      // in JSON
  std::string_view heading;  // in text
  std::uint64_t LossCounts::*count;
};

inline constexpr LossItem kLossItems[] = {
    {"gaps", "gaps", &LossCounts::gaps},
    {"missing_records", "missing records", &LossCounts::missing_records},
    {"duplicates", "duplicates", &LossCounts::duplicates},
    {"reordered", "reordered", &LossCounts::reordered},
    {"clock_backwards", "clock backwards", &LossCounts::clock_backwards},
    {"restarts", "restarts", &LossCounts::restarts},
};

}  // namespace hub::host
