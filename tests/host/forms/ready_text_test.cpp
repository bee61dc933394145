// SPDX-License-Identifier: Apache-2.0
#include "host/forms/ready_text.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "profile/catalogue.h"
#include "profile/core_payloads.h"

namespace hub::test {
namespace {

using namespace hub::host;

std::string text_of(const ReadyText& ready) {
  TextBuffer line;
  line += ready;
  return std::string(line.view());
}

TEST(ReadyText, is_appended_without_what_stands_behind_it) {
  TextBuffer line;
  line += ReadyText(",\"arg1\":");
  line += ReadyText("");
  line += '7';
  EXPECT_EQ(line.view(), ",\"arg1\":7");
}

TEST(ReadyText, has_at_most_the_length_of_a_block) {
  const std::string longest(32, 'k');
  EXPECT_EQ(text_of(ReadyText(longest)), longest);
  EXPECT_THROW(ReadyText(longest + "k"), std::length_error);
}

TEST(ReadyText, finds_room_in_a_full_buffer) {
  TextBuffer line;
  const ReadyText key(std::string_view("key="));
  for (int count = 0; count < 5000; ++count) {
    line += key;
  }
  EXPECT_EQ(line.size(), 20'000U);
  EXPECT_TRUE(line.view().ends_with("key=key="));
}

TEST(ReadyKeys, every_layout_has_its_keys_in_order_the_first_one_with_its_own_beginning) {
  const ReadyKeys keys("{", ",", "=");
  for (const profile::Layout* layout : profile::kLayouts) {
    std::string expected;
    std::string found;
    for (std::size_t row = 0; row < layout->fields.size(); ++row) {
      (((expected += row == 0 ? "{" : ",") += layout->fields[row].key) += "=");
      found += text_of(keys.of(*layout)[row]);
    }
    EXPECT_EQ(found, expected) << layout->name;
    EXPECT_EQ(keys.of(*layout).size(), layout->fields.size());
  }
}

}  // namespace
}  // namespace hub::test
