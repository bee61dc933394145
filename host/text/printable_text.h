// SPDX-License-Identifier: Apache-2.0
// Text from outside on a terminal.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>

namespace hub::host {

// The text with each byte of a control character as \xNN, and each byte above 0x7f when it is not UTF-8.
std::string printable(std::string_view text);

// How many characters, not bytes, a UTF-8 text has.
std::size_t width_of(std::string_view text);

// The shortest text that gives the same number again.
template <typename Number>
std::string number_text(Number number) {
  std::array<char, 32> room{};
  return {room.data(), std::to_chars(room.data(), room.data() + room.size(), number).ptr};
}

}  // namespace hub::host
