// SPDX-License-Identifier: Apache-2.0
#include "host/figures/text_table.h"

#include <gtest/gtest.h>

namespace hub::test {
namespace {

using host::shortened;
using host::TextTable;
using host::wrapped;

TextTable table_of_three_ranks() {
  TextTable table({{"name"}, {"count"}, {"share", 1}, {"first", 2}, {"last", 2}});
  table.add_row({"sshb/latency/ckp_SSHBButtonDown", "12", "3.5%", "0.5", "1"});
  table.add_row({"cm", "7", "-", "10.25", "1"});
  return table;
}

TEST(TextTable, names_stand_left_and_numbers_right_below_their_headings) {
  EXPECT_EQ(table_of_three_ranks().text(80),
            "name                             count  share  first  last\n"
            "sshb/latency/ckp_SSHBButtonDown     12   3.5%    0.5     1\n"
            "cm                                   7      -  10.25     1\n");
}

TEST(TextTable, takes_no_more_width_than_it_needs) {
  EXPECT_EQ(table_of_three_ranks().text(1000), table_of_three_ranks().text(58));
}

TEST(TextTable, columns_of_the_highest_rank_leave_first_and_together) {
  EXPECT_EQ(table_of_three_ranks().text(50),
            "name                             count  share\n"
            "sshb/latency/ckp_SSHBButtonDown     12   3.5%\n"
            "cm                                   7      -\n");
}

TEST(TextTable, name_is_shortened_before_a_column_leaves_as_long_as_it_is_readable) {
  EXPECT_EQ(table_of_three_ranks().text(38),
            "name                      count  share\n"
            "sshb/la.._SSHBButtonDown     12   3.5%\n"
            "cm                            7      -\n");
}

TEST(TextTable, names_give_way_to_the_columns_that_always_stay) {
  EXPECT_EQ(table_of_three_ranks().text(20),
            "name           count\n"
            "ssh..ttonDown     12\n"
            "cm                 7\n");
}

TEST(TextTable, nothing_is_shortened_beyond_eight_characters) {
  EXPECT_EQ(table_of_three_ranks().text(1),
            "name      count\n"
            "ss..Down     12\n"
            "cm            7\n");
}

TEST(TextTable, no_line_ends_with_blanks) {
  TextTable table({{"capture"}, {""}});
  table.add_row({"records", ""});
  EXPECT_EQ(table.text(80), "capture\nrecords\n");
}

TEST(TextTable, without_rows_is_empty) {
  EXPECT_TRUE(TextTable({{"name"}}).empty());
  EXPECT_FALSE(table_of_three_ranks().empty());
}

TEST(Shortened, keeps_both_ends_and_counts_characters) {
  EXPECT_EQ(shortened("abcdefgh", 8), "abcdefgh");
  EXPECT_EQ(shortened("abcdefghi", 8), "ab..fghi");
  EXPECT_EQ(shortened("\u00e4\u00f6\u00fc\u20ac\u00e4\u00f6\u00fc\u20ac\u00e4", 8),
            "\u00e4\u00f6..\u00f6\u00fc\u20ac\u00e4");
  EXPECT_EQ(shortened("abc", 2), "ab");
  EXPECT_EQ(shortened("abc", 0), "");
}

TEST(Wrapped, breaks_between_words) {
  EXPECT_EQ(wrapped("one two three", 80), "one two three\n");
  EXPECT_EQ(wrapped("one two three", 7), "one two\nthree\n");
  EXPECT_EQ(wrapped("one two three", 6), "one\ntwo\nthree\n");
  EXPECT_EQ(wrapped("incomprehensible word", 4), "incomprehensible\nword\n");
}

}  // namespace
}  // namespace hub::test
