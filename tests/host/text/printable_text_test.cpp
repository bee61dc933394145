// SPDX-License-Identifier: Apache-2.0
#include "host/text/printable_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace hub::test {
namespace {

using host::number_text;
using host::printable;
using host::width_of;

TEST(PrintableText, what_can_be_shown_stays_as_it_is) {
  for (const char* text : {"", "plain ~ \\x0a", "d\u00fcse", "\u00a0\u00bf", "\u20ac\U0001D11E"}) {
    EXPECT_EQ(printable(text), text);
  }
}

TEST(PrintableText, control_characters_are_shown_in_hex) {
  EXPECT_EQ(printable(std::string("a\0\t\n\x1b[1m\x1f\x7f", 10)), "a\\x00\\x09\\x0a\\x1b[1m\\x1f\\x7f");
  EXPECT_EQ(printable("\u0080 \u009b1m \u009f"), "\\xc2\\x80 \\xc2\\x9b1m \\xc2\\x9f");
}

TEST(PrintableText, a_text_that_is_not_utf8_has_its_high_bytes_in_hex) {
  EXPECT_EQ(printable("a\xff"), "a\\xff");
  EXPECT_EQ(printable("d\u00fcse\xc2"), "d\\xc3\\xbcse\\xc2");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
}

TEST(PrintableText, width_counts_characters) {
  EXPECT_EQ(width_of("d\u00fcse"), 4U);
  EXPECT_EQ(width_of("\u20ac\U0001D11E"), 2U);
}

TEST(PrintableText, numbers_are_the_shortest_that_are_exact) {
  EXPECT_EQ(number_text(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(number_text(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(number_text(1e300), "1e+300");
}

}  // namespace
}  // namespace hub::test
