// SPDX-License-Identifier: Apache-2.0
// Strict UTF-8: what may stand in a string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace hub::platform {

struct Utf8Text {
  bool valid;                // no overlong form, no surrogate, nothing above U+10FFFF, nothing cut off
  bool ascii;                // valid, and every byte below 0x80
  std::size_t utf16_length;  // UTF-16 units of the text; 0 when it is not valid
};

// Eight bytes of a text, and the highest bits of eight.
inline std::uint64_t eight_bytes_at(const char* at) {
  std::uint64_t eight;
  std::memcpy(&eight, at, sizeof eight);
  return eight;
}
inline constexpr std::uint64_t kHighBits = 0x8080808080808080;

// Decoded lines are hundreds of bytes: they go by 32 bytes a step. What is left of eight bytes and more is looked at in
// one step, some of it a second time.
inline bool is_ascii(std::string_view text) {
  const char* at = text.data();
  std::size_t left = text.size();
  for (; left >= 32; left -= 32, at += 32) {
    if (((eight_bytes_at(at) | eight_bytes_at(at + 8) | eight_bytes_at(at + 16) | eight_bytes_at(at + 24)) &
         kHighBits) != 0) {
      return false;
    }
  }
  std::uint64_t bits = 0;
  for (; left >= 8; left -= 8, at += 8) {
    bits |= eight_bytes_at(at);
  }
  if (text.size() >= 8) {
    return ((bits | eight_bytes_at(text.data() + text.size() - 8)) & kHighBits) == 0;
  }
  for (const char byte : text) {
    bits |= static_cast<std::uint8_t>(byte);
  }
  return (bits & 0x80U) == 0;
}

// What is behind the question below for a text that is not all ASCII.
Utf8Text examine_beyond_ascii(std::string_view text);

// Reads the whole text. [any thread]
inline Utf8Text examine_utf8(std::string_view text) {
  return is_ascii(text) ? Utf8Text{true, true, text.size()} : examine_beyond_ascii(text);
}

}  // namespace hub::platform
