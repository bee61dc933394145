// SPDX-License-Identifier: Apache-2.0
#include "host/text/text_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace hub::test {
namespace {

using host::TextBuffer;

// More than any room that was there before.
constexpr std::size_t kLong = 100'000;

TEST(TextBuffer, is_empty_at_first) { EXPECT_EQ(TextBuffer().view(), ""); }

TEST(TextBuffer, texts_and_characters_stand_in_the_order_of_their_appending) {
  TextBuffer line;
  ((line += "ab") += ',') += "";
  line += std::string_view();
  line += std::string("cd");
  EXPECT_EQ(line.view(), "ab,cd");
  EXPECT_EQ(line.size(), 5U);
}

TEST(TextBuffer, text_outlives_each_growth) {
  TextBuffer line;
  std::string expected;
  for (std::size_t count = 0; count < kLong; ++count) {
    const char letter = static_cast<char>('a' + count % 26);
    line += letter;
    expected += letter;
  }
  EXPECT_EQ(line.view(), expected);
}

TEST(TextBuffer, text_longer_than_twice_the_buffer_is_appended_whole) {
  TextBuffer line;
  line += "a";
  line += std::string(kLong, 'b');
  EXPECT_EQ(line.view(), "a" + std::string(kLong, 'b'));
}

TEST(TextBuffer, of_a_room_only_what_is_told_belongs_to_the_text) {
  TextBuffer line;
  line += "a";
  char* const room = line.room(kLong);
  std::fill_n(room, kLong, 'b');
  line.advance_to(room + 2);
  line += 'c';
  EXPECT_EQ(line.view(), "abbc");
}

TEST(TextBuffer, cut_text_goes_on_where_it_was_cut) {
  TextBuffer line;
  line += "abc";
  line.truncate(1);
  line += "d";
  EXPECT_EQ(line.view(), "ad");
  line.clear();
  EXPECT_EQ(line.view(), "");
}

}  // namespace
}  // namespace hub::test
