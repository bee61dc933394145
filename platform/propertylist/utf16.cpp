// SPDX-License-Identifier: Apache-2.0
#include "propertylist/utf16.h"

#include <cstdint>

#include "propertylist/big_endian.h"

namespace hub::platform {
namespace {

constexpr std::size_t kUnitSize = 2;
constexpr std::uint32_t kFirstHighSurrogate = 0xD800;
constexpr std::uint32_t kFirstLowSurrogate = 0xDC00;
constexpr std::uint32_t kSurrogatesEnd = 0xE000;
constexpr std::uint32_t kFirstPaired = 0x10000;  // the first character that takes two surrogates
constexpr unsigned kSurrogateBits = 10;
constexpr unsigned kContinuationBits = 6;

bool is_continuation(char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80U; }

// The bits of a character's first byte that belong to the character.
std::uint32_t first_bits(std::uint8_t byte) {
  if (byte < 0x80) {
    return byte;
  }
  return byte < 0xE0 ? byte & 0x1FU : byte < 0xF0 ? byte & 0x0FU : byte & 0x07U;
}

// Takes the first character off the text.
std::uint32_t take_character(std::string_view& text) {
  std::uint32_t character = first_bits(static_cast<std::uint8_t>(text.front()));
  text.remove_prefix(1);
  for (; !text.empty() && is_continuation(text.front()); text.remove_prefix(1)) {
    character = character << kContinuationBits | (static_cast<std::uint8_t>(text.front()) & 0x3FU);
  }
  return character;
}

void append_utf8(std::uint32_t character, std::string& text) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  const auto append_bits = [&](unsigned shift) { append(0x80U | (character >> shift & 0x3FU)); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0U | character >> 6U);
    append_bits(0);
  } else if (character < kFirstPaired) {
    append(0xE0U | character >> 12U);
    append_bits(6);
    append_bits(0);
  } else {
    append(0xF0U | character >> 18U);
    append_bits(12);
    append_bits(6);
    append_bits(0);
  }
}

bool is_high_surrogate(std::uint64_t unit) { return unit >= kFirstHighSurrogate && unit < kFirstLowSurrogate; }
bool is_low_surrogate(std::uint64_t unit) { return unit >= kFirstLowSurrogate && unit < kSurrogatesEnd; }

}  // namespace

std::byte* write_utf16(std::string_view utf8, std::byte* to) {
  while (!utf8.empty()) {
    const std::uint32_t character = take_character(utf8);
    if (character < kFirstPaired) {
      to = store_be(character, kUnitSize, to);
    } else {
      const std::uint32_t rest = character - kFirstPaired;
      to = store_be(kFirstHighSurrogate + (rest >> kSurrogateBits), kUnitSize, to);
      to = store_be(kFirstLowSurrogate + (rest & ((1U << kSurrogateBits) - 1)), kUnitSize, to);
    }
  }
  return to;
}

Utf16Text read_utf16(std::span<const std::byte> bytes) {
  Utf16Text text;
  const std::size_t count = bytes.size() / kUnitSize;
  const auto unit_at = [bytes](std::size_t index) {
    return static_cast<std::uint32_t>(load_be(bytes.subspan(index * kUnitSize, kUnitSize)));
  };
  for (std::size_t index = 0; index < count; ++index) {
    std::uint32_t character = unit_at(index);
    if (is_high_surrogate(character) && index + 1 < count && is_low_surrogate(unit_at(index + 1))) {
      ++index;
      character =
          kFirstPaired + ((character - kFirstHighSurrogate) << kSurrogateBits) + (unit_at(index) - kFirstLowSurrogate);
    } else if (character >= kFirstHighSurrogate && character < kSurrogatesEnd) {
      text.lone_surrogate = index;
      return text;
    }
    append_utf8(character, text.utf8);
  }
  return text;
}

}  // namespace hub::platform
