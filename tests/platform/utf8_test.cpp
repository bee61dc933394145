// SPDX-License-Identifier: Apache-2.0
// Which bytes can become a text.
#include <bit>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// The length in UTF-16 units of a text of these bytes, or nothing when the platform refuses them.
std::optional<CFIndex> units(std::string_view bytes) {
  const Owned text(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                           static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
  return text != nullptr ? std::optional(CFStringGetLength(text)) : std::nullopt;
}

bool accepted(std::string_view bytes) { return units(bytes).has_value(); }

// The bits of a number laid out as a character of so many bytes, whether or not it may be one.
std::string laid_out(std::uint32_t code_point, int length_bytes) {
  if (length_bytes == 1) {
    return {static_cast<char>(code_point)};
  }
  std::string bytes;
  for (int later = length_bytes - 1; later > 0; --later) {
    bytes.insert(bytes.begin(), static_cast<char>(0x80U | (code_point & 0x3FU)));
    code_point >>= 6;
  }
  const std::uint32_t mark = 0xFF00U >> length_bytes & 0xFFU;
  return static_cast<char>(mark | code_point) + bytes;
}

// How many bytes the shortest form of a number takes.
int shortest(std::uint32_t code_point) {
  const int bits = static_cast<int>(std::bit_width(code_point));
  return bits <= 7 ? 1 : bits <= 11 ? 2 : bits <= 16 ? 3 : 4;
}

// A second opinion, by the bits alone: the leading ones of the first byte are the length, the other bits make up the
// number, and this length must be its shortest.
std::optional<CFIndex> expected_units(std::string_view bytes) {
  CFIndex count = 0;
  for (std::size_t length = 1; !bytes.empty(); bytes.remove_prefix(length)) {
    const auto first = static_cast<std::uint8_t>(bytes[0]);
    const int ones = std::countl_one(first);
    length = ones == 0 ? 1 : static_cast<std::size_t>(ones);
    if (ones == 1 || ones > 4 || bytes.size() < length) {
      return std::nullopt;
    }
    std::uint32_t code_point = first & 0xFFU >> (ones + 1);
    for (const char later : bytes.substr(1, length - 1)) {
      if (std::countl_one(static_cast<std::uint8_t>(later)) != 1) {
        return std::nullopt;
      }
      code_point = code_point << 6 | (static_cast<std::uint32_t>(later) & 0x3FU);
    }
    if (shortest(code_point) != static_cast<int>(length) || code_point > 0x10FFFF || code_point >> 11 == 0x1B) {
      return std::nullopt;
    }
    count += code_point > 0xFFFF ? 2 : 1;
  }
  return count;
}

std::string shown(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += hex;
  }
  return text;
}

// Whether the second opinion is the same on all sequences that start with the bytes before this position; `bytes` is
// left at the first one on which it is not.
bool same_opinion(std::string& bytes, std::size_t position) {
  if (position == bytes.size()) {
    return units(bytes) == expected_units(bytes);
  }
  for (int value = 0; value <= 0xFF; ++value) {
    bytes[position] = static_cast<char>(value);
    if (!same_opinion(bytes, position + 1)) {
      return false;
    }
  }
  return true;
}

void expect_same_opinion_on_all(std::size_t length_bytes) {
  std::string bytes(length_bytes, '\0');
  EXPECT_TRUE(same_opinion(bytes, 0)) << shown(bytes);
}

constexpr std::uint32_t kFirstAndLastOfEachLength[] = {0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF};

class Utf8 : public PlatformTest {};

TEST_F(Utf8, takes_the_first_and_last_character_of_each_length) {
  EXPECT_EQ(units(std::string(1, '\0')), 1);
  EXPECT_EQ(units("\x7F"), 1);
  EXPECT_EQ(units("\xC2\x80"), 1);
  EXPECT_EQ(units("\xDF\xBF"), 1);
  EXPECT_EQ(units("\xE0\xA0\x80"), 1);
  EXPECT_EQ(units("\xEF\xBF\xBF"), 1);
  EXPECT_EQ(units("\xF0\x90\x80\x80"), 2);
  EXPECT_EQ(units("\xF4\x8F\xBF\xBF"), 2);
}

TEST_F(Utf8, takes_every_code_point_in_its_shortest_form_except_surrogates) {
  for (std::uint32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    ASSERT_EQ(accepted(laid_out(code_point, shortest(code_point))), !surrogate) << code_point;
  }
}

TEST_F(Utf8, refuses_every_overlong_form) {
  for (int length_bytes = 2; length_bytes <= 4; ++length_bytes) {
    for (std::uint32_t code_point = 0; shortest(code_point) < length_bytes; ++code_point) {
      ASSERT_FALSE(accepted(laid_out(code_point, length_bytes))) << code_point << " in " << length_bytes;
    }
  }
}

TEST_F(Utf8, refuses_surrogates_and_takes_their_neighbours) {
  EXPECT_TRUE(accepted("\xED\x9F\xBF"));   // U+D7FF
  EXPECT_FALSE(accepted("\xED\xA0\x80"));  // U+D800
  EXPECT_FALSE(accepted("\xED\xAF\xBF"));  // U+DBFF
  EXPECT_FALSE(accepted("\xED\xB0\x80"));  // U+DC00
  EXPECT_FALSE(accepted("\xED\xBF\xBF"));  // U+DFFF
  EXPECT_TRUE(accepted("\xEE\x80\x80"));   // U+E000
  EXPECT_FALSE(accepted("\xED\xA0\xBD\xED\xB8\x80")) << "a pair of them is no character either";
}

TEST_F(Utf8, refuses_what_lies_above_the_last_code_point) {
  EXPECT_TRUE(accepted(laid_out(0x10FFFF, 4)));
  EXPECT_FALSE(accepted(laid_out(0x110000, 4)));
  EXPECT_FALSE(accepted(laid_out(0x1FFFFF, 4)));
  EXPECT_FALSE(accepted("\xF8\x88\x80\x80\x80"));
  EXPECT_FALSE(accepted("\xFC\x84\x80\x80\x80\x80"));
}

TEST_F(Utf8, refuses_bytes_that_no_text_holds) {
  for (const int byte : {0xC0, 0xC1, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF}) {
    for (const char* rest : {"", "\x80", "\x80\x80", "\x80\x80\x80", "\xBF\xBF\xBF", "abc"}) {
      EXPECT_FALSE(accepted(static_cast<char>(byte) + std::string(rest))) << byte;
    }
  }
}

TEST_F(Utf8, refuses_a_continuation_byte_on_its_own) {
  for (int byte = 0x80; byte <= 0xBF; ++byte) {
    const std::string alone(1, static_cast<char>(byte));
    EXPECT_FALSE(accepted(alone)) << byte;
    EXPECT_FALSE(accepted("a" + alone + "b")) << byte;
    EXPECT_FALSE(accepted("\xC3\xBC" + alone)) << byte;
  }
}

TEST_F(Utf8, refuses_every_character_that_is_cut_off) {
  for (const std::uint32_t code_point : kFirstAndLastOfEachLength) {
    const std::string whole = laid_out(code_point, shortest(code_point));
    for (std::size_t kept = 1; kept < whole.size(); ++kept) {
      EXPECT_FALSE(accepted(whole.substr(0, kept))) << code_point;
      EXPECT_FALSE(accepted(whole.substr(0, kept) + "abcd")) << code_point;
      EXPECT_FALSE(accepted(whole.substr(0, kept) + whole)) << code_point;
      EXPECT_FALSE(accepted("abcd" + whole.substr(0, kept))) << code_point;
    }
  }
}

TEST_F(Utf8, does_not_read_past_the_bytes_it_is_given) {
  for (const std::uint32_t code_point : kFirstAndLastOfEachLength) {
    const std::string whole = laid_out(code_point, shortest(code_point));
    EXPECT_FALSE(accepted(std::string_view(whole).substr(0, whole.size() - 1))) << code_point;
    for (std::size_t before = 0; before <= 24; ++before) {
      const std::string text = std::string(before, 'a') + whole;
      const std::vector<char> cut_off(text.begin(), text.end() - 1);  // a block with nothing behind it
      EXPECT_FALSE(accepted({cut_off.data(), cut_off.size()})) << code_point << " after " << before;
      EXPECT_EQ(units({cut_off.data(), before}), static_cast<CFIndex>(before));
    }
  }
}

TEST_F(Utf8, takes_characters_at_every_place_of_a_group_of_eight_bytes) {
  for (const std::uint32_t code_point : kFirstAndLastOfEachLength) {
    const std::string whole = laid_out(code_point, shortest(code_point));
    for (std::size_t before = 0; before <= 24; ++before) {
      const std::string text = std::string(before, 'a') + whole + "bcdefghijk";
      EXPECT_EQ(units(text), static_cast<CFIndex>(before) + (code_point > 0xFFFF ? 2 : 1) + 10) << before;
      EXPECT_FALSE(accepted(std::string(before, 'a') + whole.substr(1) + "bcdefghijk")) << before;
    }
  }
}

TEST_F(Utf8, counts_each_of_many_characters_in_a_row) {
  std::string text;
  for (CFIndex rows = 1; rows <= 20; ++rows) {
    text += "z\xC3\xBC\xE2\x82\xAC\xF0\x9D\x84\x9E";
    EXPECT_EQ(units(text), rows * 5);
  }
}

TEST_F(Utf8, takes_ascii_of_every_length_and_finds_one_bad_byte_anywhere) {
  for (std::size_t length_bytes = 0; length_bytes <= 100; ++length_bytes) {
    const std::string good(length_bytes, 'a');
    EXPECT_EQ(units(good), static_cast<CFIndex>(length_bytes));
    for (std::size_t position = 0; position < length_bytes; ++position) {
      for (const char bad_byte : {'\x80', '\xBF', '\xC3', '\xFF'}) {
        std::string bad = good;
        bad[position] = bad_byte;
        EXPECT_FALSE(accepted(bad)) << shown(bad);
      }
    }
  }
}

TEST_F(Utf8, decides_like_bit_arithmetic_on_all_single_bytes) { expect_same_opinion_on_all(1); }

TEST_F(Utf8, decides_like_bit_arithmetic_on_all_pairs_of_bytes) { expect_same_opinion_on_all(2); }

TEST_F(Utf8, decides_like_bit_arithmetic_on_all_triples_of_bytes) { expect_same_opinion_on_all(3); }

TEST_F(Utf8, decides_like_bit_arithmetic_on_four_bytes_at_the_limits) {
  const std::string limits("\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xED\xEF\xF0\xF1\xF3\xF4\xF5\xFF",
                           22);
  for (const char first : limits) {
    for (const char second : limits) {
      for (const char third : limits) {
        for (const char fourth : limits) {
          const std::string bytes{first, second, third, fourth};
          ASSERT_EQ(units(bytes), expected_units(bytes)) << shown(bytes);
        }
      }
    }
  }
}

}  // namespace
}  // namespace hub::test
