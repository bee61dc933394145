// SPDX-License-Identifier: Apache-2.0
#include "host/device/json_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <variant>

namespace hub::test {
namespace {

using host::JsonArray;
using host::JsonError;
using host::JsonLongInteger;
using host::JsonObject;
using host::JsonValue;
using host::read_json_text;

// Why a text is refused; empty when it is taken.
std::string refusal(const std::string& text) {
  try {
    read_json_text(text);
    return {};
  } catch (const JsonError& error) {
    return error.what();
  }
}

// The one element of an array.
template <typename Type>
Type only(const std::string& element) {
  const JsonValue root = read_json_text("[" + element + "]");
  return std::get<Type>(std::get<JsonArray>(root.value).at(0).value);
}

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string repeat(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) {
    result += text;
  }
  return result;
}

TEST(JsonText, integers_keep_their_64_bits) {
  EXPECT_EQ(only<std::int64_t>("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(only<std::int64_t>("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(only<std::uint64_t>("9223372036854775808"), 9223372036854775808U);
  EXPECT_EQ(only<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(only<std::int64_t>("-0"), 0);
}

TEST(JsonText, integers_beyond_64_bits_keep_their_digits) {
  EXPECT_EQ(only<JsonLongInteger>("18446744073709551616").digits, "18446744073709551616");
  EXPECT_EQ(only<JsonLongInteger>("-9223372036854775809").digits, "-9223372036854775809");
}

TEST(JsonText, fraction_or_exponent_makes_a_double) {
  EXPECT_EQ(only<double>("1.0"), 1.0);
  EXPECT_EQ(only<double>("1e3"), 1000.0);
  EXPECT_EQ(only<double>("1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_EQ(only<double>("18446744073709551616.0"), 18446744073709551616.0);
}

TEST(JsonText, number_beyond_a_double_is_refused_with_its_path) {
  EXPECT_EQ(refusal(R"({ "a": [ 0, 1.8e308 ] })"),
            R"($.a[1]: expected a number in the range of a double, found "1.8e308")");
  EXPECT_EQ(refusal("[" + std::string(400, '9') + "]"),
            "$[0]: expected a number in the range of a double, found a text of 400 bytes");
}

TEST(JsonText, escapes_and_characters_are_the_same_text) {
  EXPECT_EQ(only<std::string>(R"("\u00e9\ud83d\ude00\n\u0000")"), std::string("é😀\n\0", 8));
  EXPECT_EQ(only<std::string>("\"é😀\""), "é😀");
}

TEST(JsonText, members_stand_in_the_order_of_the_text) {
  const JsonValue root = read_json_text(R"({ "b": 1, "a": 2, "": 3 })");
  const auto& members = std::get<JsonObject>(root.value);
  ASSERT_EQ(members.size(), 3U);
  EXPECT_EQ(members[0].key + members[1].key + members[2].key, "ba");
}

TEST(JsonText, key_may_come_again_in_another_object) {
  EXPECT_EQ(refusal(R"({ "a": { "a": [ { "a": 1 }, { "a": 2 } ] } })"), "");
}

TEST(JsonText, first_key_that_comes_again_is_named) {
  EXPECT_EQ(refusal(R"({ "x": { "c": 1, "b": 2, "a": 3, "b": 4, "a": 5, "c": 6 } })"),
            R"($.x.b: expected each key once, found "b" again)");
}

TEST(JsonText, path_puts_keys_that_are_no_words_in_brackets) {
  EXPECT_EQ(refusal(R"({ "a_1": { "1a": { "a\"\u0001\\": { "é": [ 1e999 ] } } } })"),
            R"($.a_1["1a"]["a\"\u0001\\"]["é"][0]: expected a number in the range of a double, found "1e999")");
}

TEST(JsonText, deepest_nesting_is_taken_and_one_deeper_is_refused) {
  EXPECT_EQ(refusal(nested(256)), "");
  EXPECT_EQ(refusal(nested(257)),
            "$" + repeat("[0]", 256) + ": expected at most 256 objects and arrays in each other, found more");
  EXPECT_EQ(refusal(repeat(R"({"a":)", 256) + "1" + repeat("}", 256)), "");
  EXPECT_EQ(refusal(repeat(R"({"a":)", 257)),
            "$" + repeat(".a", 256) + ": expected at most 256 objects and arrays in each other, found more");
}

TEST(JsonText, every_beginning_of_a_text_is_refused) {
  const std::string text = R"({"a":[1.5e1,true,"\u00e9é"],"b":null})";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_NE(refusal(text.substr(0, length)), "") << length;
  }
  EXPECT_EQ(refusal(text), "");
}

TEST(JsonText, every_byte_that_is_no_text_is_told_by_line_and_column) {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    std::string text = "{}\n// é x";
    text.back() = static_cast<char>(byte);
    EXPECT_TRUE(refusal(text).starts_with("line 2, column 6: expected UTF-8, found the byte 0x")) << byte;
  }
}

TEST(JsonText, comments_may_stand_around_every_part) {
  EXPECT_EQ(refusal("/**/[/***/1/*\n*/,//x\n2/* // */]//"), "");
  EXPECT_EQ(refusal("//x\r[]"), "");
}

TEST(JsonText, slashes_in_a_text_begin_no_comment) { EXPECT_EQ(only<std::string>(R"("/*//*/")"), "/*//*/"); }

}  // namespace
}  // namespace hub::test
