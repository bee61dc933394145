// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_error.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/filter/record_filter.h"

namespace hub::test {
namespace {

using host::FilterError;
using host::RecordFilter;

// What is said of an expression that is refused.
std::string refusal(const std::string& expression) try {
  static_cast<void>(RecordFilter::parse(expression));
  return "taken";
} catch (const FilterError& error) {
  return error.what();
}

// The problem, and the column of the caret, from 0.
struct Case {
  const char* expression;
  std::size_t column;
  const char* problem;
};

// Each is refused in three lines: the problem, the expression and the caret.
void check(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    EXPECT_EQ(refusal(row.expression),
              std::string(row.problem) + "\n  " + row.expression + "\n  " + std::string(row.column, ' ') + "^");
  }
}

TEST(FilterError, stands_in_three_lines_with_a_caret_under_the_place) {
  EXPECT_EQ(refusal("event == 3 && duratoin > 5"),
            "unknown field \"duratoin\"; did you mean \"duration\"?\n"
            "  event == 3 && duratoin > 5\n"
            "                ^");
}

TEST(FilterError, grammar_is_told_with_what_was_expected) {
  check({
      {"", 0, R"x(expected a field, "!" or "(", found the end)x"},
      {"duration", 8, R"x(expected ==, !=, <, <=, >, >=, =~ or in behind "duration", found the end)x"},
      {"duration 5", 9, R"x(expected ==, !=, <, <=, >, >=, =~ or in behind "duration", found "5")x"},
      {"duration ==", 11, "expected a number or a text, found the end"},
      {"duration == == 5", 12, R"x(expected a number or a text, found "==")x"},
      {"5 == duration", 0, R"x(expected a field, "!" or "(", found "5")x"},
      {"duration == 5 depth == 1", 14, R"x(expected "&&", "||" or the end, found "depth")x"},
      {"duration == 5)", 13, R"x(expected "&&", "||" or the end, found ")")x"},
      {"duration == 5 &&", 16, R"x(expected a field, "!" or "(", found the end)x"},
      {"(duration == 5", 14, R"x(expected "&&", "||" or ")", found the end)x"},
      {"()", 1, R"x(expected a field, "!" or "(", found ")")x"},
      {"!", 1, R"x(expected a field, "!" or "(", found the end)x"},
      {"duration in 5", 12, R"x(expected "(" behind "in", found "5")x"},
      {"duration in ()", 13, R"x(expected a number or a text, found ")")x"},
      {"duration in (5", 14, R"x(expected "," or ")" behind a value of the list, found the end)x"},
      {"duration in (5,)", 15, R"x(expected a number or a text, found ")")x"},
  });
}

TEST(FilterError, words_are_told_with_what_was_expected) {
  const char* escapes = R"(expected \", \', \\, \n, \t or \x with two hexadecimal digits; a backslash itself is \\)";
  check({
      {"duration = 5", 9, R"(expected "==" or "=~", found "=")"},
      {"depth == 1 & depth == 2", 11, R"(expected "&&", found "&")"},
      {"depth == 1 | depth == 2", 11, R"(expected "||", found "|")"},
      {"depth # 1", 6, "expected a field, a value or an operator; other characters stand in quotes only"},
      {"depth == 12ab", 9, R"(expected a number such as 12, 0x1f or -1.5, or a text in quotes, found "12ab")"},
      {"depth == 1.", 9, R"(expected a number such as 12, 0x1f or -1.5, or a text in quotes, found "1.")"},
      {"depth == -0x1", 9, R"(expected a number such as 12, 0x1f or -1.5, or a text in quotes, found "-0x1")"},
      {"depth == 0x", 9, R"(expected hexadecimal digits behind "0x")"},
      {"depth == -", 9, R"(expected digits behind "-")"},
      {"depth == 18446744073709551616", 9, "expected a number of at most 64 bits"},
      {"depth == 0x10000000000000000", 9, "expected a number of at most 64 bits"},
      {"name == \"abc", 8, "expected \" at the end of the text that begins here"},
      {"name == 'abc\"", 8, "expected ' at the end of the text that begins here"},
      {"name == 'ab\\", 11, escapes},
      {R"(name == "a\d")", 10, escapes},
      {R"(name == "\x1")", 9, escapes},
      {R"(name == "\xg0")", 9, escapes},
  });
}

TEST(FilterError, unknown_field_is_told_with_those_near_to_it) {
  check({
      {"durations > 5", 0, R"(unknown field "durations"; did you mean "duration"?)"},
      {"arg9 == 1", 0, R"(unknown field "arg9"; did you mean "arg1", "arg2" or "arg3"?)"},
      {"nothing-like-it == 1", 0,
       R"(unknown field "nothing-like-it"; expected an item of a line, such as event or duration)"},
      {"in == 1", 0, R"(unknown field "in"; expected an item of a line, such as event or duration)"},
  });
}

TEST(FilterError, unknown_name_is_told_with_those_near_to_it) {
  check({
      {"category == hapticks", 12, R"(unknown category "hapticks"; did you mean "haptics"?)"},
      {"component != shceduler", 13, R"(unknown component "shceduler"; did you mean "scheduler"?)"},
      {"type in (event, short_data)", 16, R"(unknown type "short_data"; did you mean "short-data"?)"},
      {"trace == PlayAssetBegun", 9, R"(unknown subtype "PlayAssetBegun"; did you mean "PlayAssetBegin"?)"},
      {"event == ''", 9, R"(unknown event ""; expected one of their names, or a number)"},
      {"event == zzzzzzzzz", 9, R"(unknown event "zzzzzzzzz"; expected one of their names, or a number)"},
      {"category == '-7'", 12, R"(unknown category "-7"; expected one of their names, or a number)"},
      {"category == '99999999999999999999'", 12, "expected a number of at most 64 bits"},
  });
}

TEST(FilterError, name_of_another_kind_is_unknown) {
  EXPECT_TRUE(refusal("category == scheduler").starts_with("unknown category"));
  EXPECT_TRUE(refusal("component == sshb-context2").starts_with("unknown component"));
}

TEST(FilterError, operator_that_a_type_does_not_have_is_told_with_those_that_it_has) {
  check({
      {"duration =~ '1'", 9, R"("duration" is a number: expected ==, !=, <, <=, >, >= or in)"},
      {"x =~ '1'", 2, R"("x" is a number: expected ==, !=, <, <=, >, >= or in)"},
      {"raw-data < '00'", 9, R"("raw-data" is a list of bytes: expected ==, !=, =~ or in)"},
  });
}

TEST(FilterError, value_of_the_wrong_type_is_told_with_the_right_one) {
  check({
      {"duration == 'long'", 12, R"("duration" is a number: expected a number, found a text)"},
      {"duration in (1, '2')", 16, R"("duration" is a number: expected a number, found a text)"},
      {"x < large", 4, R"("x" is a number: expected a number, found a text)"},
      {"category < sshb", 11, R"("category" is a number that has names: expected a number, found a text)"},
      {"event =~ 5", 9, R"("event" is a number that has names: expected a regular expression, found a number)"},
      {"name == 5", 8, R"("name" is a text: expected a text in quotes, found a number)"},
      {"name < 5", 7, R"("name" is a text: expected a text in quotes, found a number)"},
      {"name =~ 5", 8, R"("name" is a text: expected a regular expression, found a number)"},
      {"raw-data == 10", 12,
       R"("raw-data" is a list of bytes: expected its bytes as a text in quotes, such as "0a01", found a number)"},
      {"raw-data == '0A'", 12, R"(expected bytes as pairs of lower-case hexadecimal digits, such as "0a01")"},
      {"raw-data in ('00', '0a1')", 19, R"(expected bytes as pairs of lower-case hexadecimal digits, such as "0a01")"},
  });
}

TEST(FilterError, pattern_is_told_with_what_is_wrong_in_it) {
  check({
      {"name =~ '(a'", 8, "expected a regular expression: missing ): (a"},
      {"depth == 1 && event =~ '*'", 23, "expected a regular expression: no argument for repetition operator: *"},
      {"name =~ 'a{1001}'", 8, "expected a regular expression: invalid repetition size: {1001}"},
  });
}

TEST(FilterError, caret_counts_characters_and_not_bytes) {
  EXPECT_EQ(refusal("name == '\xc3\xa9\xe2\x82\xac' ; 1"),
            "expected a field, a value or an operator; other characters stand in quotes only\n"
            "  name == '\xc3\xa9\xe2\x82\xac' ; 1\n"
            "               ^");
}

TEST(FilterError, control_characters_and_foreign_bytes_are_shown_in_hexadecimal) {
  EXPECT_EQ(refusal("name\t== '\x1b[1m\xff' ;"),
            "expected a field, a value or an operator; other characters stand in quotes only\n"
            "  name\\x09== '\\x1b[1m\\xff' ;\n"
            "                           ^");
}

TEST(FilterError, long_expression_is_cut_around_the_place) {
  const std::string blanks(100, ' ');
  EXPECT_EQ(refusal("depth == 1" + blanks + "# 2" + blanks),
            "expected a field, a value or an operator; other characters stand in quotes only\n"
            "  ..." +
                std::string(36, ' ') + "# 2" + std::string(33, ' ') + "...\n" + std::string(41, ' ') + "^");
}

TEST(FilterError, expression_is_cut_between_characters) {
  std::string letters;
  for (int count = 0; count < 50; ++count) {
    letters += "\xe2\x82\xac";
  }
  const std::string said = refusal("name == '" + letters + "' # '" + letters + "x");
  EXPECT_NE(said.find("\n  ...\xe2\x82\xac"), std::string::npos) << said;
  EXPECT_NE(said.find("\xe2\x82\xac...\n"), std::string::npos) << said;
  EXPECT_EQ(said.find("\\x"), std::string::npos) << said;
}

TEST(FilterError, long_word_is_shortened_in_the_message) {
  EXPECT_TRUE(refusal(std::string(60000, 'x') + " == 1")
                  .starts_with("unknown field \"xxxxxxxxxxxxxxxxxxxx...xxxxxxxxxxxxxxxxxxxx\"; expected"));
}

TEST(FilterError, limits_are_told) {
  EXPECT_TRUE(refusal(std::string(201, '(')).starts_with("expected at most 200 parentheses in each other"));
  EXPECT_TRUE(
      refusal(std::string(65537, ' ')).starts_with("expected an expression of at most 65536 bytes, found 65537"));
  std::string patterns = "name =~ a";
  for (int count = 0; count < 100; ++count) {
    patterns += "||name =~ a";
  }
  EXPECT_TRUE(refusal(patterns).starts_with("expected at most 100 times \"=~\""));
}

}  // namespace
}  // namespace hub::test
