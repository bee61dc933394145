// SPDX-License-Identifier: Apache-2.0
#include "host/forms/value_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace hub::test {
namespace {

using namespace hub::host;

template <typename Append, typename Value>
std::string appended(Append append, Value value) {
  std::string out = ">";
  append(out, value);
  return out;
}

std::string json_string(std::string_view text) { return appended(append_json_string, text); }

TEST(ValueText, decimal_has_all_digits) {
  EXPECT_EQ(appended(append_decimal, 0U), ">0");
  EXPECT_EQ(appended(append_decimal, ~0ULL), ">18446744073709551615");
}

TEST(ValueText, hexadecimal_is_lower_case_without_leading_zeros) {
  const auto text = [](std::uint64_t number) {
    std::string out;
    append_hexadecimal(out, number);
    return out;
  };
  EXPECT_EQ(text(0), "0");
  EXPECT_EQ(text(0xABC), "abc");
  EXPECT_EQ(text(~0ULL), "ffffffffffffffff");
}

TEST(ValueText, bytes_have_two_digits_each) {
  std::string out = ">";
  append_hexadecimal(out, std::as_bytes(std::span("\x00\x0A\xFF", 3)));
  EXPECT_EQ(out, ">000aff");
}

TEST(ValueText, real_is_short_and_read_back_exactly) {
  EXPECT_EQ(appended(append_real, 1.5), ">1.5");
  EXPECT_EQ(appended(append_real, 0.0), ">0");
  EXPECT_EQ(appended(append_real, -32768.0), ">-32768");
  EXPECT_EQ(appended(append_real, std::ldexp(1, -16)), ">1.52587890625e-05");
  for (const double real : {std::ldexp(0x7FFFFFFF, -16), std::ldexp(-0x7FFFFFFF, -12), std::ldexp(12345, -16)}) {
    EXPECT_EQ(std::strtod(appended(append_real, real).c_str() + 1, nullptr), real);
  }
}

TEST(JsonString, plain_text_stands_in_quotes) {
  EXPECT_EQ(json_string(""), ">\"\"");
  EXPECT_EQ(json_string("a b/'~"), ">\"a b/'~\"");
  EXPECT_EQ(json_string("\u00E9\u20AC\U0001F600"), ">\"\u00E9\u20AC\U0001F600\"");
}

TEST(JsonString, quotes_and_control_characters_are_escaped) {
  EXPECT_EQ(json_string("\"\\"), ">\"\\\"\\\\\"");
  EXPECT_EQ(json_string("\b\f\n\r\t"), ">\"\\b\\f\\n\\r\\t\"");
  EXPECT_EQ(json_string("\x01z\x1F\x7F"), ">\"\\u0001z\\u001f\\u007f\"");
  EXPECT_EQ(json_string("\u0080\u009F\u00A0"), ">\"\\u0080\\u009f\u00A0\"");
}

TEST(JsonString, line_separators_are_escaped) {
  EXPECT_EQ(json_string("\u2027\u2028\u2029\u202A"), ">\"\u2027\\u2028\\u2029\u202A\"");
}

TEST(JsonString, bytes_that_belong_to_no_character_are_replaced_one_by_one) {
  EXPECT_EQ(json_string("a\xE2\x82\"\xC2"), ">\"a\uFFFD\uFFFD\\\"\uFFFD\"");
}

TEST(JsonString, every_text_of_two_bytes_is_json_and_reads_back_when_it_is_utf8) {
  for (unsigned number = 0; number <= 0xFFFF; ++number) {
    const std::string text = {static_cast<char>(number >> 8U), static_cast<char>(number & 0xFFU)};
    const std::string json = json_string(text).substr(1);
    ASSERT_TRUE(nlohmann::json::accept(json)) << number;
    const auto read = nlohmann::json::parse(json).get<std::string>();
    ASSERT_TRUE(read == text || read.find("\uFFFD") != std::string::npos) << number;
  }
}

}  // namespace
}  // namespace hub::test
