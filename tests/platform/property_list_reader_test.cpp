// SPDX-License-Identifier: Apache-2.0
// Property lists from bytes: what each object gives, and what is refused where.
#include "propertylist/property_list_reader.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/platform/platform_test.h"
#include "tests/support/property_list_bytes.h"
#include "tests/support/property_list_objects.h"

namespace hub::test {
namespace {

using platform::PropertyListArray;
using platform::PropertyListDictionary;
using platform::PropertyListError;
using platform::PropertyListValue;
using platform::read_property_list;

// A value in a few words.
std::string shown(const PropertyListValue& value);

struct Shower {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
  }
  std::string operator()(const std::string& value) const { return "'" + value + "'"; }
  std::string operator()(const std::vector<std::byte>& value) const {
    std::string text = "<";
    for (const std::byte byte : value) {
      text += hex_number(std::to_integer<std::uint8_t>(byte)).substr(1);
    }
    return text + ">";
  }
  std::string operator()(const PropertyListArray& values) const {
    std::string text = "[";
    for (const PropertyListValue& value : values) {
      text += shown(value) + ";";
    }
    return text + "]";
  }
  std::string operator()(const PropertyListDictionary& pairs) const {
    std::string text = "{";
    for (const auto& [key, value] : pairs) {
      text += key + "=" + shown(value) + ";";
    }
    return text + "}";
  }
};

std::string shown(const PropertyListValue& value) { return std::visit(Shower(), value.value); }

// What the bytes give: the value, or the error.
std::string read(const std::string& bytes) try {
  return shown(read_property_list(bytes_of(bytes)));
} catch (const PropertyListError& error) {
  return error.what();
}

// A list of one object.
std::string read_one(const std::string& hex) { return read(list_of({hex})); }

std::string with_byte(std::string bytes, std::size_t offset, unsigned value) {
  bytes.at(offset) = static_cast<char>(value);
  return bytes;
}

// The list with another big-endian number of 8 bytes so many before its end.
std::string with_number(std::string bytes, std::size_t from_end, std::uint64_t value) {
  return bytes.replace(bytes.size() - from_end, 8, big_endian(value, 8));
}

constexpr std::size_t kCountFromEnd = 24;
constexpr std::size_t kTopFromEnd = 16;
constexpr std::size_t kTableFromEnd = 8;

// { "rate": 100, "é": [true, <00ff>, 1.5] }
std::string small_list() {
  return list_of(
      {"d2 01 02 03 04", "54 72 61 74 65", "61 00 e9", "10 64", "a3 05 06 07", "09", "42 00 ff", "22 3f c0 00 00"});
}

// So many arrays in each other, the innermost empty.
std::string nested_list(std::size_t levels) {
  std::vector<std::string> objects;
  for (std::size_t level = 1; level < levels; ++level) {
    objects.push_back("a1" + hex_number(level, 2));
  }
  objects.emplace_back("a0");
  return list_of(objects, {2, 2, 0});
}

// Arrays of ten times the next one; the last holds ten times `innermost`.
std::string tenfold_list(std::size_t levels, const std::string& innermost) {
  std::vector<std::string> objects;
  for (std::size_t level = 1; level <= levels; ++level) {
    objects.push_back("aa" + repeated(10, hex_number(level)));
  }
  objects.push_back(innermost);
  return list_of(objects, {4, 1, 0});
}

class PropertyListReader : public PlatformTest {};

TEST_F(PropertyListReader, booleans) {
  EXPECT_EQ(read_one("08"), "false");
  EXPECT_EQ(read_one("09"), "true");
}

TEST_F(PropertyListReader, integers_are_unsigned_below_eight_bytes_and_signed_in_eight) {
  EXPECT_EQ(read_one("10 ff"), "255");
  EXPECT_EQ(read_one("11 ff fe"), "65534");
  EXPECT_EQ(read_one("12 ff ff ff ff"), "4294967295");
  EXPECT_EQ(read_one("13 ff ff ff ff ff ff ff fe"), "-2");
  EXPECT_EQ(read_one("13 7f ff ff ff ff ff ff ff"), "9223372036854775807");
  EXPECT_EQ(read_one("13 80 00 00 00 00 00 00 00"), "-9223372036854775808");
  EXPECT_EQ(read_one("13 00 00 00 00 00 00 00 05"), "5") << "not the smallest size";
}

TEST_F(PropertyListReader, reals_of_both_precisions) {
  EXPECT_EQ(read_one("22 3d cc cc cd"), "0x1.99999ap-4");
  EXPECT_EQ(read_one("23 3f b9 99 99 99 99 99 9a"), "0x1.999999999999ap-4");
  EXPECT_EQ(read_one("23 80 00 00 00 00 00 00 00"), "-0x0p+0");
  EXPECT_EQ(read_one("22 ff 80 00 00"), "-inf");
}

TEST_F(PropertyListReader, texts_become_utf8) {
  EXPECT_EQ(read_one("50"), "''");
  EXPECT_EQ(read_one("52 61 7f"), "'a\x7f'");
  EXPECT_EQ(read_one("62 00 7f 00 80"), "'\u007F\u0080'");
  EXPECT_EQ(read_one("63 07 ff 08 00 ff ff"), "'\u07FF\u0800\uFFFF'");
  EXPECT_EQ(read_one("64 d8 00 dc 00 db ff df ff"), "'\U00010000\U0010FFFF'");
  EXPECT_EQ(read_one("62 d7 ff e0 00"), "'\uD7FF\uE000'");
}

TEST_F(PropertyListReader, data) {
  EXPECT_EQ(read_one("40"), "<>");
  EXPECT_EQ(read_one("43 00 ff 62"), "<00ff62>");
}

TEST_F(PropertyListReader, lengths_behind_the_marker_may_have_any_size) {
  EXPECT_EQ(read_one("4f 10 01 aa"), "<aa>");
  EXPECT_EQ(read_one("4f 11 00 01 aa"), "<aa>");
  EXPECT_EQ(read_one("5f 12 00 00 00 01 61"), "'a'");
  EXPECT_EQ(read_one("6f 13 00 00 00 00 00 00 00 01 00 e9"), "'\u00e9'");
  EXPECT_EQ(read_one("af 10 00"), "[]");
  EXPECT_EQ(read_one("df 10 00"), "{}");
}

TEST_F(PropertyListReader, collections_in_the_order_of_the_file) {
  EXPECT_EQ(read(small_list()), "{rate=100;\u00e9=[true;<00ff>;0x1.8p+0;];}");
  EXPECT_EQ(read(list_of({"d2 01 02 03 03", "51 7a", "51 61", "08"})), "{z=false;a=false;}");
}

TEST_F(PropertyListReader, the_top_object_may_stand_anywhere) {
  EXPECT_EQ(read(list_of({"51 61", "a2 00 02", "08"}, {1, 1, 1})), "['a';false;]");
}

TEST_F(PropertyListReader, offsets_and_references_may_have_any_size_up_to_eight) {
  for (std::size_t size = 1; size <= 8; ++size) {
    const std::string reference = repeated(size - 1, "00") + " 01";
    EXPECT_EQ(read(list_of({"a1" + reference, "09"}, {size, size, 0})), "[true;]") << size;
  }
}

TEST_F(PropertyListReader, what_no_object_leads_to_is_not_looked_at) { EXPECT_EQ(read(list_of({"09", "80"})), "true"); }

TEST_F(PropertyListReader, objects_may_share_bytes) {
  std::string list = list_of({"a1 01", "52 51 61"});
  EXPECT_EQ(read(list), "['Qa';]");
  EXPECT_EQ(read(with_byte(list, 14, 11)), "['a';]") << "the text inside the text";
}

TEST_F(PropertyListReader, too_few_bytes_are_refused) {
  EXPECT_EQ(read(""), "offset 0: a property list of 0 bytes, expected at least 42");
  EXPECT_EQ(read(std::string(41, 'a')), "offset 0: a property list of 41 bytes, expected at least 42");
}

TEST_F(PropertyListReader, another_head_is_refused) {
  EXPECT_EQ(read(with_byte(small_list(), 7, '1')), "offset 0: another beginning, expected \"bplist00\"");
  EXPECT_EQ(read(with_byte(small_list(), 0, 'x')), "offset 0: another beginning, expected \"bplist00\"");
}

TEST_F(PropertyListReader, sizes_in_the_trailer_must_be_one_to_eight) {
  const std::string list = list_of({"09"});
  EXPECT_EQ(read(with_byte(list, 16, 0)), "offset 16: offsets of 0 bytes, expected 1 to 8");
  EXPECT_EQ(read(with_byte(list, 16, 9)), "offset 16: offsets of 9 bytes, expected 1 to 8");
  EXPECT_EQ(read(with_byte(list, 17, 0)), "offset 17: references of 0 bytes, expected 1 to 8");
  EXPECT_EQ(read(with_byte(list, 17, 255)), "offset 17: references of 255 bytes, expected 1 to 8");
}

TEST_F(PropertyListReader, the_offset_table_must_fill_what_is_before_the_trailer) {
  const std::string list = list_of({"09", "08"});
  EXPECT_EQ(read(with_number(list, kTableFromEnd, 8)), "offset 36: an offset table at 8, expected it at 9 to 12");
  EXPECT_EQ(read(with_number(list, kTableFromEnd, 13)), "offset 36: an offset table at 13, expected it at 9 to 12");
  EXPECT_EQ(read(with_number(list, kTableFromEnd, UINT64_MAX)),
            "offset 36: an offset table at 18446744073709551615, expected it at 9 to 12");
  EXPECT_EQ(read(with_number(list, kTableFromEnd, 11)),
            "offset 20: 2 objects, expected as many as offsets of 1 bytes fill the 1 of the table");
  EXPECT_EQ(read(with_number(list, kCountFromEnd, 1)),
            "offset 20: 1 objects, expected as many as offsets of 1 bytes fill the 2 of the table");
  EXPECT_EQ(read(with_number(list, kCountFromEnd, UINT64_MAX)),
            "offset 20: 18446744073709551615 objects, expected as many as offsets of 1 bytes fill the 2 of the table");
  EXPECT_EQ(read(with_number(list_of({"09"}, {8, 1, 0}), kCountFromEnd, 0x2000000000000001)),
            "offset 25: 2305843009213693953 objects, expected as many as offsets of 8 bytes fill the 8 of the table");
}

TEST_F(PropertyListReader, a_list_without_objects_is_refused) {
  const std::string list = with_number(with_number(list_of({"09"}), kTableFromEnd, 10), kCountFromEnd, 0);
  EXPECT_EQ(read(list), "offset 26: object 0 at the top, expected one of 0");
}

TEST_F(PropertyListReader, a_top_object_outside_is_refused) {
  EXPECT_EQ(read(with_number(small_list(), kTopFromEnd, 8)),
            "offset " + std::to_string(small_list().size() - 16) + ": object 8 at the top, expected one of 8");
}

TEST_F(PropertyListReader, an_offset_outside_the_objects_is_refused) {
  const std::string list = list_of({"a1 01", "09"});
  EXPECT_EQ(read(with_byte(list, 12, 7)), "offset 12: object 1 at offset 7, expected 8 to 10");
  EXPECT_EQ(read(with_byte(list, 12, 11)), "offset 12: object 1 at offset 11, expected 8 to 10");
  EXPECT_EQ(read(with_byte(list, 11, 255)), "offset 11: object 0 at offset 255, expected 8 to 10");
}

TEST_F(PropertyListReader, a_reference_outside_is_refused) {
  EXPECT_EQ(read(list_of({"a2 01 02", "09"})), "offset 10: a reference to object 2, expected one of 2");
  EXPECT_EQ(read(list_of({"d1 01 ff", "51 61"})), "offset 10: a reference to object 255, expected one of 2");
  EXPECT_EQ(read(list_of({"d1 ff 01", "51 61"})), "offset 9: a reference to object 255, expected one of 2");
}

TEST_F(PropertyListReader, an_object_beyond_the_objects_is_refused) {
  EXPECT_EQ(read_one("42 00"), "offset 9: 2 times 1 bytes, expected no more than the 1 before the offset table");
  EXPECT_EQ(read_one("62 00 61 00"), "offset 9: 2 times 2 bytes, expected no more than the 3 before the offset table");
  EXPECT_EQ(read_one("a1"), "offset 9: 1 times 1 bytes, expected no more than the 0 before the offset table");
  EXPECT_EQ(read_one("d1 00"), "offset 9: 1 times 2 bytes, expected no more than the 1 before the offset table");
  EXPECT_EQ(read_one("11 00"), "offset 9: 2 times 1 bytes, expected no more than the 1 before the offset table");
  EXPECT_EQ(read_one("23"), "offset 9: 8 times 1 bytes, expected no more than the 0 before the offset table");
  EXPECT_EQ(read_one("4f"), "offset 9: 1 times 1 bytes, expected no more than the 0 before the offset table");
  EXPECT_EQ(read_one("4f 11 00"), "offset 10: 2 times 1 bytes, expected no more than the 1 before the offset table");
}

TEST_F(PropertyListReader, a_huge_length_is_refused) {
  for (const char* marker : {"4f", "5f", "6f", "af", "df"}) {
    for (const char* length : {" 12 ff ff ff ff", " 13 ff ff ff ff ff ff ff ff", " 13 80 00 00 00 00 00 00 00",
                               " 13 7f ff ff ff ff ff ff ff"}) {
      const std::string error = read_one(std::string(marker) + length);
      EXPECT_NE(error.find("before the offset table"), std::string::npos) << marker << length << ": " << error;
    }
  }
}

TEST_F(PropertyListReader, a_length_that_is_no_integer_of_up_to_eight_bytes_is_refused) {
  EXPECT_EQ(read_one("4f 51 61"), "offset 9: marker 0x51, expected the integer that tells a length");
  EXPECT_EQ(read_one("4f 14"), "offset 9: a length of 16 bytes, expected at most 8");
}

TEST_F(PropertyListReader, objects_without_a_place_in_a_value_are_refused) {
  for (const char* marker : {"00", "0f", "07", "0a", "33", "80", "c0", "70", "f0"}) {
    const std::string error = read_one(std::string(marker) + " 00 00 00 00 00 00 00 00");
    EXPECT_TRUE(error.starts_with("offset 8: ")) << marker << ": " << error;
  }
  EXPECT_EQ(
      read_one("00"),
      "offset 8: an object with the marker 0x0, expected a boolean, an integer, a real, data, a text, an array or "
      "a dictionary");
  EXPECT_EQ(read_one("14" + repeated(16, "00")), "offset 8: an integer of 16 bytes, expected at most 8");
  EXPECT_EQ(read_one("1f"), "offset 8: an integer of 32768 bytes, expected at most 8");
  EXPECT_EQ(read_one("21 00 00"), "offset 8: a real of 2 bytes, expected 4 or 8");
  EXPECT_EQ(read_one("24" + repeated(16, "00")), "offset 8: a real of 16 bytes, expected at most 8");
}

TEST_F(PropertyListReader, invalid_texts_are_refused) {
  EXPECT_EQ(read_one("52 61 80"), "offset 10: a byte above 0x7f, expected ASCII");
  EXPECT_EQ(read_one("62 00 61 d8 00"), "offset 11: a lone surrogate, expected a pair");
  EXPECT_EQ(read_one("62 d8 00 00 61"), "offset 9: a lone surrogate, expected a pair");
  EXPECT_EQ(read_one("62 dc 00 d8 00"), "offset 9: a lone surrogate, expected a pair");
  EXPECT_EQ(read_one("61 df ff"), "offset 9: a lone surrogate, expected a pair");
  EXPECT_EQ(read(list_of({"61 d8 00", "dc 00"})), "offset 9: a lone surrogate, expected a pair") << "behind the text";
}

TEST_F(PropertyListReader, keys_that_are_no_texts_are_refused) {
  EXPECT_EQ(read(list_of({"d1 01 01", "10 05"})), "offset 11: a key with the marker 0x10, expected a text");
  EXPECT_EQ(read(list_of({"d1 00 00"})), "offset 8: a key with the marker 0xd1, expected a text");
}

TEST_F(PropertyListReader, a_key_that_stands_twice_is_refused) {
  const std::string error = "offset 8: a dictionary with a key that stands twice, expected each once";
  EXPECT_EQ(read(list_of({"d2 01 01 02 02", "51 61", "09"})), error) << "one object";
  EXPECT_EQ(read(list_of({"d3 01 03 02 04 04 04", "51 61", "61 00 61", "51 62", "09"})), error) << "two equal ones";
}

TEST_F(PropertyListReader, a_list_inside_itself_is_refused) {
  EXPECT_EQ(read(list_of({"a1 00"})), "offset 8: object 0 contains itself");
  EXPECT_EQ(read(list_of({"a1 01", "d1 02 00", "51 61"})), "offset 8: object 0 contains itself");
  EXPECT_EQ(read(list_of({"a1 01", "a1 01"})), "offset 10: object 1 contains itself");
}

TEST_F(PropertyListReader, a_shared_list_is_no_list_inside_itself) {
  EXPECT_EQ(read(list_of({"a3 01 01 02", "a1 02", "a0"})), "[[[];];[[];];[];]");
}

TEST_F(PropertyListReader, nesting_has_a_limit) {
  EXPECT_EQ(
      read(nested_list(256)), std::string(256, '[') + "];" + [] {
        std::string ends;
        for (int level = 0; level < 254; ++level) {
          ends += "];";
        }
        return ends + "]";
      }());
  EXPECT_EQ(read(nested_list(257)), "offset 776: more than 256 arrays and dictionaries in each other");
}

TEST_F(PropertyListReader, the_number_of_values_has_a_limit_that_counts_shared_ones_wherever_they_stand) {
  const auto most = static_cast<std::size_t>(platform::kMostPropertyListValues);
  const std::string below = tenfold_list(5, "09");  // 111111 values
  EXPECT_EQ(read(below).size(), 100000 * 5 + 11111 * 2 + 11110U);
  const std::string above = tenfold_list(6, "09");
  EXPECT_TRUE(read(above).ends_with("more than " + std::to_string(most) + " values in all")) << read(above);
  EXPECT_TRUE(read(tenfold_list(60, "09")).ends_with("values in all"));
}

TEST_F(PropertyListReader, the_bytes_of_texts_and_data_have_a_limit_as_well) {
  const std::string contents = " 11 28 00" + repeated(10240, "61");
  EXPECT_EQ(read(tenfold_list(3, "5f" + contents)).size(), 1000 * (10240 + 3) + 111 * 2 + 110U);
  for (const char* marker : {"4f", "5f"}) {
    const std::string error = read(tenfold_list(4, marker + contents));
    EXPECT_TRUE(error.ends_with("more than 67108864 bytes of texts and data in all")) << marker;
  }
}

TEST_F(PropertyListReader, every_truncation_is_refused) {
  const std::string list = small_list();
  for (std::size_t length = 0; length < list.size(); ++length) {
    EXPECT_THROW(read_property_list(bytes_of(list.substr(0, length))), PropertyListError) << length;
  }
}

TEST_F(PropertyListReader, every_corruption_of_a_byte_gives_a_value_or_an_error) {
  const std::string list = small_list();
  const std::string whole = read(list);
  std::size_t noticed = 0;
  for (std::size_t offset = 0; offset < list.size(); ++offset) {
    for (unsigned value = 0; value < 256; ++value) {
      const std::string damaged = with_byte(list, offset, value);
      noticed += read(std::string(damaged)) != whole ? 1 : 0;
    }
  }
  constexpr std::size_t kUnusedBytes = 6;
  EXPECT_GT(noticed, (list.size() - kUnusedBytes - 1) * 250) << "nearly every byte matters";
}

TEST_F(PropertyListReader, a_byte_more_is_refused) {
  EXPECT_THROW(read_property_list(bytes_of(small_list() + '\0')), PropertyListError);
  EXPECT_THROW(read_property_list(bytes_of(small_list().insert(8, 1, '\0'))), PropertyListError);
}

TEST_F(PropertyListReader, reads_what_was_written) {
  const PropertyListValue value{PropertyListDictionary{
      {"", {std::int64_t{-1}}},
      {"flag", {true}},
      {"d\u00fcse \U0001D11E", {std::string("\u20ac\0a", 5)}},
      {"numbers", {PropertyListArray{{std::numeric_limits<std::int64_t>::min()}, {0.1}, {-0.0}, {HUGE_VAL}}}},
      {"bytes", {std::vector<std::byte>(300, std::byte{7})}},
      {"inner", {PropertyListDictionary{{"a", {PropertyListArray{}}}, {"b", {PropertyListDictionary{}}}}}},
  }};
  EXPECT_EQ(read(written(value)), shown(value));
}

TEST_F(PropertyListReader, reads_many_different_objects_as_written) {
  PropertyListArray values(70000);
  for (std::size_t index = 0; index < values.size(); ++index) {
    values[index].value = static_cast<std::int64_t>(index);
  }
  const PropertyListValue value{std::move(values)};
  EXPECT_EQ(read(written(value)), shown(value));
}

}  // namespace
}  // namespace hub::test
