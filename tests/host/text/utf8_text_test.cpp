// SPDX-License-Identifier: Apache-2.0
#include "host/text/utf8_text.h"

#include <gtest/gtest.h>

#include <string>

namespace hub::test {
namespace {

using host::append_readable;
using host::utf8_character_bytes;
using host::utf8_prefix_bytes;

TEST(Utf8Prefix, first_and_last_character_of_each_length_are_well_formed) {
  const std::string texts[] = {std::string(1, '\0'), "\x7F",         "\xC2\x80",         "\xDF\xBF",
                               "\xE0\xA0\x80",       "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
                               "\xED\x9F\xBF",       "\xEE\x80\x80"};
  for (const std::string& text : texts) {
    EXPECT_EQ(utf8_prefix_bytes(text), text.size()) << text;
    EXPECT_EQ(utf8_prefix_bytes("ab" + text + "c"), 3 + text.size()) << text;
  }
}

TEST(Utf8Prefix, ends_before_what_is_ill_formed) {
  const std::string ill_formed[] = {"\x80",
                                    "\xBF",
                                    "\xC0\x80",
                                    "\xC1\xBF",
                                    "\xE0\x9F\xBF",
                                    "\xED\xA0\x80",
                                    "\xED\xBF\xBF",
                                    "\xF0\x8F\xBF\xBF",
                                    "\xF4\x90\x80\x80",
                                    "\xF5\x80\x80\x80",
                                    "\xF8\x88\x80\x80",
                                    "\xFE",
                                    "\xFF",
                                    "\xC3(",
                                    "\xE2\x82(",
                                    "\xF0\x9F\x98("};
  for (const std::string& text : ill_formed) {
    EXPECT_EQ(utf8_prefix_bytes("\xC3\xA9" + text + "x"), 2U) << ::testing::PrintToString(text);
  }
}

TEST(Utf8Prefix, ends_before_a_character_that_is_cut_off) {
  for (const std::string text : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
    for (std::size_t length = 1; length < text.size(); ++length) {
      EXPECT_EQ(utf8_prefix_bytes("a" + text.substr(0, length)), 1U) << text << length;
    }
  }
}

TEST(Utf8Prefix, of_nothing_is_nothing) { EXPECT_EQ(utf8_prefix_bytes(""), 0U); }

TEST(Utf8Character, length_is_that_of_the_first_character_alone) {
  EXPECT_EQ(utf8_character_bytes("ab"), 1U);
  EXPECT_EQ(utf8_character_bytes("\xC3\xA9\xC3"), 2U);
  EXPECT_EQ(utf8_character_bytes("\xE2\x82\xAC"
                                 "b"),
            3U);
  EXPECT_EQ(utf8_character_bytes("\xF0\x9F\x98\x80\xFF"), 4U);
  EXPECT_EQ(utf8_character_bytes("\xE2\x82"), 0U);
}

std::string readable(std::string_view text) {
  std::string out = ">";
  append_readable(out, text);
  return out;
}

TEST(ReadableText, text_that_is_well_formed_is_appended_as_it_is) {
  EXPECT_EQ(readable(""), ">");
  EXPECT_EQ(readable("a\xC3\xA9\n"), ">a\xC3\xA9\n");
}

TEST(ReadableText, each_byte_of_no_character_is_replaced_and_the_others_stay) {
  EXPECT_EQ(readable("\xFF"), ">\uFFFD");
  EXPECT_EQ(readable("a\xE2\x82"
                     "b\x80\xC3\xA9"),
            ">a\uFFFD\uFFFDb\uFFFD\u00E9");
  EXPECT_EQ(readable("ab\xC3"), ">ab\uFFFD");
}

}  // namespace
}  // namespace hub::test
