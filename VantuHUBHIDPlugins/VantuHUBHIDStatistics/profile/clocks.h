// SPDX-License-Identifier: Apache-2.0
// Calendar time, as a line has it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "profile/digits.h"

namespace hub::profile {

// "Nov 16 04:51:21."
using SecondText = std::array<char, 16>;

// A moment of calendar time: what its second is called, and how far it is into it.
struct CalendarTime {
  static constexpr std::size_t kFractionDigits = 6;
  static constexpr std::size_t kRoom = sizeof(SecondText) + kWordDigits;

  // "Nov 16 04:51:21.123456"; stores kRoom bytes and returns where the text ends.
  char* put(char* out) const {
    std::memcpy(out, second->data(), second->size());
    return put_last_digits(out + second->size(), decimal_word(microseconds), kFractionDigits);
  }

  const SecondText* second = nullptr;  // the thread's, until it asks for another
  std::uint32_t microseconds = 0;
};

// What profile_decoder::hub_time_to_wall_time makes a string of. False, and `out` unchanged, when it does. [any thread]
bool find_calendar_time(std::uint64_t timestamp_us, CalendarTime& out);

}  // namespace hub::profile
