// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/utf8.h"

#include <cstdint>

namespace hub::platform {
namespace {

// One row per shape of a character of two to four bytes. The first continuation byte has limits of its own: they shut
// out overlong forms, surrogates and what lies above U+10FFFF. All later ones are 0x80 to 0xBF.
struct Shape {
  std::uint8_t first_low, first_high;
  std::uint8_t second_low, second_high;
  std::uint8_t length_bytes;
};

constexpr Shape kShapes[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2},  // U+0080 to U+07FF
    {0xE0, 0xE0, 0xA0, 0xBF, 3},  // U+0800 to U+0FFF
    {0xE1, 0xEC, 0x80, 0xBF, 3},  // U+1000 to U+CFFF
    {0xED, 0xED, 0x80, 0x9F, 3},  // U+D000 to U+D7FF
    {0xEE, 0xEF, 0x80, 0xBF, 3},  // U+E000 to U+FFFF
    {0xF0, 0xF0, 0x90, 0xBF, 4},  // U+10000 to U+3FFFF
    {0xF1, 0xF3, 0x80, 0xBF, 4},  // U+40000 to U+FFFFF
    {0xF4, 0xF4, 0x80, 0x8F, 4},  // U+100000 to U+10FFFF
};

std::uint8_t byte_at(std::string_view text, std::size_t index) { return static_cast<std::uint8_t>(text[index]); }

// How many of the leading bytes are ASCII.
std::size_t ascii_prefix(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && byte_at(text, length) < 0x80) {
    ++length;
  }
  return length;
}

// The length of the well-formed character of more than one byte that the text starts with; 0 when there is none.
std::size_t multibyte_length(std::string_view text) {
  const std::uint8_t first = byte_at(text, 0);
  for (const Shape& shape : kShapes) {
    if (first < shape.first_low || first > shape.first_high) {
      continue;
    }
    if (text.size() < shape.length_bytes || byte_at(text, 1) < shape.second_low ||
        byte_at(text, 1) > shape.second_high) {
      return 0;
    }
    for (std::size_t index = 2; index < shape.length_bytes; ++index) {
      if ((byte_at(text, index) & 0xC0) != 0x80) {
        return 0;
      }
    }
    return shape.length_bytes;
  }
  return 0;
}

}  // namespace

Utf8Text examine_beyond_ascii(std::string_view text) {
  Utf8Text result{true, true, 0};
  while (true) {
    const std::size_t ascii = ascii_prefix(text);
    result.utf16_length += ascii;
    text.remove_prefix(ascii);
    if (text.empty()) {
      return result;
    }
    const std::size_t length = multibyte_length(text);
    if (length == 0) {
      return {false, false, 0};
    }
    result.ascii = false;
    result.utf16_length += length == 4 ? 2 : 1;
    text.remove_prefix(length);
  }
}

}  // namespace hub::platform
