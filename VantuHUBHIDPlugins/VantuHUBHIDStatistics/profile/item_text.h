// SPDX-License-Identifier: Apache-2.0
// The text of items: " 'key':value,". Nearly all time of a line goes here. So every piece is stored in amounts that are
// known when the program is compiled, a few instructions each, where any other copy is a call: what is stored beyond a
// piece's end is overwritten by the next one, and the caller has room for it.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "profile/digits.h"
#include "profile/name_table.h"

namespace hub::profile {

// The key of an item, with what stands around it in a line. Made of a literal when the program is compiled.
class ItemKey {
 public:
  static constexpr std::size_t kRoom = 32;  // of the longest, " '" and "':" included

  // Implicit: in a table of items, the literal stands for the key.
  template <std::size_t kSizeWithZero>
  consteval ItemKey(const char (&name)[kSizeWithZero]) : length_(kSizeWithZero - 1 + kFrame) {
    static_assert(kSizeWithZero - 1 + kFrame <= kRoom);
    std::size_t at = 0;
    for (const std::string_view piece : {kBefore, std::string_view(name, kSizeWithZero - 1), kBehind}) {
      for (const char character : piece) {
        text_[at++] = character;
      }
    }
  }

  // The key itself, in this object.
  [[nodiscard]] constexpr std::string_view view() const { return {text_.data() + kBefore.size(), size()}; }
  [[nodiscard]] constexpr std::size_t size() const { return length_ - kFrame; }
  constexpr operator std::string_view() const { return view(); }

  char* put(char* out) const {
    std::memcpy(out, text_.data(), kRoom);
    return out + length_;
  }

 private:
  static constexpr std::string_view kBefore = " '";
  static constexpr std::string_view kBehind = "':";
  static constexpr std::size_t kFrame = kBefore.size() + kBehind.size();

  std::array<char, kRoom> text_{};
  std::uint8_t length_;
};

// ---- Pieces. Each function stores one at `out` and returns its end.

// Every byte in decimal, with a comma behind it.
struct ByteText {
  std::array<char, 4> text;
  std::uint32_t length;
};

inline constexpr auto kByteTexts = [] {
  std::array<ByteText, 256> texts{};
  for (unsigned byte = 0; byte < texts.size(); ++byte) {
    ByteText& entry = texts[byte];
    for (unsigned unit = byte >= 100 ? 100 : byte >= 10 ? 10 : 1; unit > 0; unit /= 10) {
      entry.text[entry.length++] = static_cast<char>('0' + byte / unit % 10);
    }
    entry.text[entry.length++] = ',';
  }
  return texts;
}();

inline char* put_byte(char* out, std::uint8_t byte) {
  const ByteText& entry = kByteTexts[byte];
  std::memcpy(out, entry.text.data(), entry.text.size());
  return out + entry.length;
}

// "[1,20,255]"
inline char* put_byte_list(char* out, std::span<const std::byte> bytes) {
  *out++ = '[';
#pragma GCC unroll 8
  for (const std::byte byte : bytes) {
    out = put_byte(out, std::to_integer<std::uint8_t>(byte));
  }
  out -= bytes.empty() ? 0 : 1;  // the last comma
  *out++ = ']';
  return out;
}

constexpr std::size_t byte_list_room(std::size_t count) { return 4 * count + 2; }

inline constexpr std::size_t kBlanksAtOnce = 16;

// The blanks before a value of this length, so that it ends where the column does.
inline char* put_blanks(char* out, std::size_t value_length, std::size_t column) {
  const std::size_t blanks = value_length < column ? column - value_length : 0;
  std::memset(out, ' ', kBlanksAtOnce);
  if (blanks > kBlanksAtOnce) [[unlikely]] {
    std::memset(out + kBlanksAtOnce, ' ', blanks - kBlanksAtOnce);
  }
  return out + blanks;
}

// Names are short: two copies that overlap, of which no byte lies outside.
inline char* put_text(char* out, std::string_view text) {
  const auto copy_ends = [&](auto piece) {
    std::memcpy(&piece, text.data(), sizeof piece);
    std::memcpy(out, &piece, sizeof piece);
    std::memcpy(&piece, text.data() + text.size() - sizeof piece, sizeof piece);
    std::memcpy(out + text.size() - sizeof piece, &piece, sizeof piece);
  };
  const std::size_t length = text.size();
  if (length > 2 * sizeof(std::uint64_t)) {
    std::memcpy(out, text.data(), length);
  } else if (length >= sizeof(std::uint64_t)) {
    copy_ends(std::uint64_t{});
  } else if (length >= sizeof(std::uint32_t)) {
    copy_ends(std::uint32_t{});
  } else {
    std::copy(text.begin(), text.end(), out);
  }
  return out + length;
}

// ---- Items, each with its key and the comma behind it. All columns are least widths in bytes of text: shorter values
// ---- get blanks in front, longer ones are written whole.

inline constexpr std::size_t kLongestColumn = 64;

// The room that an item needs whose value has this length, or a number of any size when that is the longer.
constexpr std::size_t item_room(std::size_t value_length) {
  return ItemKey::kRoom + std::max(value_length, kLongestColumn) + kBlanksAtOnce;
}

// Unsigned decimal.
inline char* put_number_item(char* out, const ItemKey& key, std::uint64_t value, std::size_t column) {
  const std::size_t length = decimal_length(value);
  out = put_decimal(put_blanks(key.put(out), length, column), value, length);
  *out++ = ',';
  return out;
}

// The same, of a byte and without a column.
inline char* put_byte_item(char* out, const ItemKey& key, std::uint8_t value) { return put_byte(key.put(out), value); }

// Lower-case hexadecimal in quotes, "'ff'": the column is that of the first quote.
inline char* put_hexadecimal_item(char* out, const ItemKey& key, std::uint32_t value, std::size_t column) {
  out = put_blanks(key.put(out), 1, column);
  *out++ = '\'';
  out = put_last_digits(out, hexadecimal_word(value), hexadecimal_length(value));
  *out++ = '\'';
  *out++ = ',';
  return out;
}

// "'value'"
inline char* put_quoted_item(char* out, const ItemKey& key, std::string_view value, std::size_t column) {
  constexpr std::size_t kTwoQuotes = 2;
  out = put_blanks(key.put(out), value.size() + kTwoQuotes, column);
  *out++ = '\'';
  out = put_text(out, value);
  *out++ = '\'';
  *out++ = ',';
  return out;
}

inline char* put_name_item(char* out, const ItemKey& key, const Name& name, std::size_t column) {
  constexpr std::size_t kTwoQuotes = 2;
  out = put_blanks(key.put(out), name.view().size() + kTwoQuotes, column);
  *out++ = '\'';
  out = name.put(out);
  *out++ = '\'';
  *out++ = ',';
  return out;
}

// Six significant digits, as "%g" has them.
char* put_real_item(char* out, const ItemKey& key, double value, std::size_t column);

// The bytes in decimal.
char* put_byte_list_item(char* out, const ItemKey& key, std::span<const std::byte> bytes, std::size_t column);

}  // namespace hub::profile
