// SPDX-License-Identifier: Apache-2.0
// Calendar time, as a line has it.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace hub::profile {

// "Nov 16 04:51:21.123456"
struct CalendarText {
  std::array<char, 22> characters;

  [[nodiscard]] std::string_view view() const { return {characters.data(), characters.size()}; }
};

// What profile_decoder::hub_time_to_wall_time gives, without a string. False, and `out` unchanged, when it does.
// [any thread]
bool put_calendar_text(std::uint64_t timestamp_us, CalendarText& out);

}  // namespace hub::profile
