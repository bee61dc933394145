// SPDX-License-Identifier: Apache-2.0
#include "host/forms/value_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

namespace hub::test {
namespace {

using namespace hub::host;

std::string json_string(std::string_view text) {
  TextBuffer out;
  out += '>';
  append_json_string(out, text);
  return std::string(out.view());
}

TEST(Names, name_that_is_empty_gives_way_to_the_number) {
  TextBuffer out;
  append_name(out, "sshb", 7);
  append_name(out, "", 200);
  append_json_name(out, "wake", 10);
  append_json_name(out, "", 10);
  EXPECT_EQ(out.view(), "sshb200\"wake\"\"10\"");
}

TEST(TextTraits, tell_of_all_bytes_what_they_mean) {
  EXPECT_EQ(traits_of(""), kPlainText);
  EXPECT_EQ(traits_of("az AZ'/~"), kHasBlank);
  EXPECT_EQ(traits_of(","), kHasCsvDelimiter);
  EXPECT_EQ(traits_of("\\"), kHasJsonEscape);
  for (const char* text : {"\"", "\r", "\n", "a\nz"}) {
    EXPECT_EQ(traits_of(text), kHasJsonEscape | kHasCsvDelimiter) << text;
  }
  for (const char* text : {"\x01", "\x1F", "\x7F", "\x80", "a\xFFz"}) {
    EXPECT_EQ(traits_of(text), kHasJsonEscape) << text;
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

TEST(JsonString, tells_whether_all_bytes_belong_to_characters) {
  TextBuffer out;
  EXPECT_TRUE(append_json_string(out, ""));
  EXPECT_TRUE(append_json_string(out, "a\n\u00E9\u2028"));
  EXPECT_FALSE(append_json_string(out,
                                  "\xFF"
                                  "a"));
  EXPECT_FALSE(append_json_string(out, "a\xE2\x82"));
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
