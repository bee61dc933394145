// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_fields.h"

#include <gtest/gtest.h>

#include <map>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

// The numbers that a report has under a name.
std::vector<std::uint64_t> numbers(std::string_view name, const _HubProfileReport& sample) {
  const auto field = RecordField::named(name);
  std::vector<std::uint64_t> found;
  if (field) {
    const FieldValues values = field->values_of(sample);
    for (std::size_t index = 0; index < values.size(); ++index) {
      found.push_back(values[index].number());
    }
  }
  return found;
}

using Numbers = std::vector<std::uint64_t>;

TEST(RecordFields, header_has_its_ids_with_names) {
  const _HubProfileReport sample = report(7, 3, 5, 2);
  const auto field = RecordField::named("event");
  ASSERT_TRUE(field);
  EXPECT_EQ(field->type(), FieldType::kName);
  const FieldValues values = field->values_of(sample);
  ASSERT_EQ(values.size(), 1U);
  EXPECT_EQ(values[0].number(), 5U);
  EXPECT_EQ(values[0].known_name(), "ckp_VossaStartHaptics");
}

TEST(RecordFields, every_header_name_gives_its_number) {
  const _HubProfileReport sample = report(7, 3, 5, 2).time_us(~0ULL).sequence(9);
  EXPECT_EQ(numbers("category", sample), Numbers{7});
  EXPECT_EQ(numbers("component", sample), Numbers{3});
  EXPECT_EQ(numbers("type", sample), Numbers{2});
  EXPECT_EQ(numbers("category-id", sample), Numbers{7});
  EXPECT_EQ(numbers("component-id", sample), Numbers{3});
  EXPECT_EQ(numbers("event-id", sample), Numbers{5});
  EXPECT_EQ(numbers("type-id", sample), Numbers{2});
  EXPECT_EQ(numbers("timestamp", sample), Numbers{~0ULL});
  EXPECT_EQ(numbers("sequence_num", sample), Numbers{9});
}

TEST(RecordFields, key_finds_a_value_in_each_layout_that_has_it) {
  const _HubProfileReport sample = report(7, 0, 0, 3).u32(0, 10).u32(8, 20);
  EXPECT_EQ(numbers("arg1", sample), (Numbers{20, 10}));
}

TEST(RecordFields, key_with_a_layout_finds_its_value_alone) {
  const _HubProfileReport sample = report(7, 0, 0, 3).u32(0, 10).u32(8, 20);
  EXPECT_EQ(numbers("sshb-trace.arg1", sample), Numbers{20});
  EXPECT_EQ(numbers("event.arg1", sample), Numbers{10});
}

TEST(RecordFields, layout_that_is_shown_twice_counts_once) {
  EXPECT_EQ(numbers("subtype", report(7, 0, 0, 2).u16(0, 5)), Numbers{5});
}

TEST(RecordFields, record_without_the_field_has_no_value) {
  EXPECT_EQ(numbers("duration", report(0, 0, 0, 3)), Numbers{});
  EXPECT_EQ(numbers("duration", report(0, 0, 0, 0)), Numbers{});
}

TEST(RecordFields, subtype_has_the_name_of_its_component) {
  const auto field = RecordField::named("trace");
  const _HubProfileReport sample = report(7, 0, 0, 3).u32(0, 50);
  EXPECT_EQ(field->type(), FieldType::kName);
  EXPECT_EQ(field->values_of(sample)[0].known_name(), "PlayAssetBegin");
}

TEST(RecordFields, values_come_in_their_types) {
  const _HubProfileReport info = report(2, 0, 9, 8).text(19, "accel");
  EXPECT_EQ(RecordField::named("name")->values_of(info)[0].text(), "accel");
  const _HubProfileReport vector = report(4, 0, 0, 3).u32(0, 0x18000);
  EXPECT_EQ(RecordField::named("x")->values_of(vector)[0].real(), 1.5);
  const _HubProfileReport data = report(0, 0, 0, 2).u8(2, 7);
  EXPECT_EQ(RecordField::named("raw-data")->values_of(data)[0].bytes()[0], std::byte{7});
}

TEST(RecordFields, only_numbers_that_the_line_shows_so_are_hexadecimal) {
  const _HubProfileReport sample = report(8, 0, 0, 3).u32(0, 255);
  const auto is_hexadecimal = [&](const char* name) {
    return RecordField::named(name)->values_of(sample)[0].is_hexadecimal();
  };
  EXPECT_TRUE(is_hexadecimal("xarg1"));
  EXPECT_FALSE(is_hexadecimal("arg1"));
  EXPECT_FALSE(is_hexadecimal("event-id"));
}

TEST(RecordFields, unknown_names_are_not_found) {
  for (const char* name : {"", "durations", "event.", ".arg1", "event.duration", "event-arg1", "nothing.arg1"}) {
    EXPECT_FALSE(RecordField::named(name)) << name;
  }
}

TEST(RecordFields, every_name_that_is_listed_is_found_and_only_once) {
  const auto names = RecordField::all_names();
  std::map<std::string, int> counts;
  for (const std::string& name : names) {
    EXPECT_TRUE(RecordField::named(name)) << name;
    EXPECT_EQ(++counts[name], 1) << name;
  }
  EXPECT_EQ(counts.count("arg1"), 1U);
  EXPECT_EQ(counts.count("haptics-trace.arg1"), 1U);
}

TEST(RecordFields, a_key_has_one_type_in_all_layouts) {
  std::map<std::string_view, FieldType> types;
  for (const profile::Layout* layout : profile::kLayouts) {
    for (const profile::Field& field : layout->fields) {
      const auto [known, is_new] = types.emplace(field.key, type_of(field));
      EXPECT_TRUE(is_new || known->second == type_of(field)) << layout->name << "." << field.key.view();
    }
  }
}

TEST(NearestNames, are_few_and_begin_with_the_nearest) {
  const std::vector<std::string> known = {"durations", "duration", "during", "event", "thread_duration"};
  EXPECT_EQ(nearest_names("duratoin", known), (std::vector<std::string>{"duration", "durations"}));
  EXPECT_EQ(nearest_names("Duration", known).front(), "duration");
  EXPECT_TRUE(nearest_names("xyz", known).empty());
}

TEST(NearestNames, swapped_letters_are_one_difference) {
  const std::vector<std::string> known = {"scm", "sphere", "sshb"};
  EXPECT_EQ(nearest_names("ssbh", known).front(), "sshb");
}

TEST(NearestNames, name_with_nothing_in_common_is_not_near) {
  const std::vector<std::string> known = {"x", "y", "cm"};
  EXPECT_TRUE(nearest_names("ab", known).empty());
}

TEST(NearestNames, name_has_at_most_a_third_of_differences) {
  const std::vector<std::string> known = {"xxmextamx", "ximextamx"};
  EXPECT_EQ(nearest_names("timestamp", known), std::vector<std::string>{"ximextamx"});
}

TEST(NearestNames, at_most_three) {
  const std::vector<std::string> known = {"arg1", "arg2", "arg3", "arg4", "arg5"};
  EXPECT_EQ(nearest_names("arg9", known), (std::vector<std::string>{"arg1", "arg2", "arg3"}));
}

}  // namespace
}  // namespace hub::test
