// SPDX-License-Identifier: Apache-2.0
#include "host/text/utf8_text.h"

#include <cstdint>

namespace hub::host {
namespace {

// One row per length of a character: how its first byte is told, and the lowest character that may have this length.
struct Shape {
  std::uint8_t mask;
  std::uint8_t mark;
  std::uint8_t length_bytes;
  std::uint32_t lowest;
};

constexpr Shape kShapes[] = {
    {0x80, 0x00, 1, 0x00},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

constexpr std::uint32_t kHighest = 0x10FFFF;

std::uint8_t byte_at(std::string_view text, std::size_t index) { return static_cast<std::uint8_t>(text[index]); }

bool is_surrogate(std::uint32_t character) { return character >= 0xD800 && character <= 0xDFFF; }

bool continues(std::uint8_t byte) { return (byte & 0xC0U) == 0x80U; }

}  // namespace

std::size_t utf8_character_bytes(std::string_view text) {
  const std::uint8_t first = byte_at(text, 0);
  for (const Shape& shape : kShapes) {
    if ((first & shape.mask) != shape.mark) {
      continue;
    }
    if (text.size() < shape.length_bytes) {
      return 0;
    }
    std::uint32_t character = first & static_cast<std::uint8_t>(~shape.mask);
    for (std::size_t index = 1; index < shape.length_bytes; ++index) {
      if (!continues(byte_at(text, index))) {
        return 0;
      }
      character = (character << 6U) | (byte_at(text, index) & 0x3FU);
    }
    const bool well_formed = character >= shape.lowest && character <= kHighest && !is_surrogate(character);
    return well_formed ? shape.length_bytes : 0;
  }
  return 0;
}

std::size_t utf8_prefix_bytes(std::string_view text) {
  std::size_t prefix = 0;
  while (prefix < text.size()) {
    const bool is_ascii = byte_at(text, prefix) < 0x80;
    const std::size_t length = is_ascii ? 1 : utf8_character_bytes(text.substr(prefix));
    if (length == 0) {
      return prefix;
    }
    prefix += length;
  }
  return prefix;
}

void append_readable(std::string& out, std::string_view text) {
  for (std::size_t prefix = utf8_prefix_bytes(text); prefix < text.size(); prefix = utf8_prefix_bytes(text)) {
    out += text.substr(0, prefix);
    out += kReplacementCharacter;
    text.remove_prefix(prefix + 1);
  }
  out += text;
}

}  // namespace hub::host
