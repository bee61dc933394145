// SPDX-License-Identifier: Apache-2.0
// The two times of a line that are not in a report, as a tool's user gives them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace hub::host {

// A simultaneous reading of the co-processor clock and of calendar time, in nanoseconds.
struct ClockPair {
  std::int64_t hub;
  std::int64_t calendar;
};

// "HUB,CALENDAR": two signed 64-bit decimal numbers. Nothing when the text is anything else.
std::optional<ClockPair> parse_clock_pair(std::string_view text);

// What the kernel says of when the machine was booted.
struct BootTime {
  std::optional<std::uint64_t> microseconds;  // since the epoch; none: the query fails
};

// "none", or a decimal number from 0 to 2^63 - 1. Nothing when the text is anything else.
std::optional<BootTime> parse_boot_time(std::string_view text);

// Makes the registry hold a time-sync service with this pair. Throws std::bad_alloc. [host, before decoding]
void publish_clock_pair(const ClockPair& pair);

// Makes the kernel's boot-time query answer with this. [host, before decoding]
void publish_boot_time(const BootTime& boot_time);

}  // namespace hub::host
