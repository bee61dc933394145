// SPDX-License-Identifier: Apache-2.0
#include "host/filter/record_filter.h"

#include <gtest/gtest.h>

#include <string>

#include "host/records/record_fields.h"
#include "tests/platform/platform_test.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using host::RecordFilter;

bool holds(const std::string& expression, const _HubProfileReport& sample) {
  return RecordFilter::parse(expression).matches(sample);
}

// An expression, and whether it holds.
struct Case {
  const char* expression;
  bool truth;
};

void check(std::initializer_list<Case> cases, const _HubProfileReport& sample) {
  for (const Case& row : cases) {
    EXPECT_EQ(holds(row.expression, sample), row.truth) << row.expression;
  }
}

// A function call: thread-id 7, duration 1000, depth 0.
const _HubProfileReport kCall = report(0, 1, 0, 5).sequence(9).time_us(5'000'000'000).u32(8, 7).u32(12, 1000);

// A trace point of sshb; arg1 is 20 in its trace, and 10 in the common layout of events.
const _HubProfileReport kTrace = report(7, 0, 0, 3).u32(0, 10).u32(8, 20);

TEST(RecordFilter, numbers_compare_by_each_operator) {
  check({{"duration == 1000", true},
         {"duration == 999", false},
         {"duration != 1000", false},
         {"duration != 999", true},
         {"duration < 1000", false},
         {"duration < 1001", true},
         {"duration <= 999", false},
         {"duration <= 1000", true},
         {"duration > 1000", false},
         {"duration > 999", true},
         {"duration >= 1001", false},
         {"duration >= 1000", true},
         {"duration == 0x3e8", true},
         {"duration == 0x3E8", true},
         {"duration == 01000", true}},
        kCall);
}

TEST(RecordFilter, header_items_are_fields) {
  check({{"timestamp == 5000000000", true},
         {"timestamp > 0x12a05f1ff", true},
         {"sequence_num == 9", true},
         {"category-id == 0 && component-id == 1 && event-id == 0 && type-id == 5", true},
         {"type-id > 5", false}},
        kCall);
}

TEST(RecordFilter, numbers_of_64_bits_keep_every_bit) {
  const _HubProfileReport last = report(0, 0, 0, 0).time_us(~0ULL);
  check({{"timestamp == 18446744073709551615", true},
         {"timestamp == 0xffffffffffffffff", true},
         {"timestamp > 18446744073709551614", true},
         {"timestamp < 18446744073709551615", false},
         {"timestamp < 18446744073709551615.1", true},
         {"timestamp > 18446744073709551615", false},
         {"timestamp == 18446744073709551614", false}},
        last);
}

TEST(RecordFilter, unsigned_field_compares_exactly_with_fractions_and_negative_numbers) {
  check({{"duration > 999.5", true},
         {"duration < 1000.5", true},
         {"duration <= 999.999", false},
         {"duration >= 1000.0000000000000000000001", false},
         {"duration == 1000.0", true},
         {"duration == 1000.5", false},
         {"duration != 1000.5", true},
         {"depth > -1", true},
         {"depth >= -0.5", true},
         {"depth < -1", false},
         {"depth != -1", true},
         {"depth == -0", true},
         {"depth <= -0.0", true}},
        kCall);
}

TEST(RecordFilter, fixed_point_compares_exactly) {
  const _HubProfileReport vector = report(4, 0, 0, 3).u32(0, 0x18000).u32(4, 0xFFFE8000);  // x 1.5, y -1.5
  check({{"x == 1.5", true},
         {"x == 1.50", true},
         {"x < 1.5000000000000000000000000000001", true},
         {"x > 1.4999999999999999999999999999999", true},
         {"x == 1.5000000000000000000000000000001", false},
         {"x >= 2", false},
         {"x > 0x1", true},
         {"y == -1.5", true},
         {"y > -1.5000000000000000000000000000001", true},
         {"y < -1.4999999999999999999999999999999", true},
         {"y <= -1.5", true},
         {"y > -1.5", false},
         {"y < 18446744073709551615", true},
         {"y > -18446744073709551615", true},
         {"y in (1, -1.5)", true}},
        vector);
}

TEST(RecordFilter, smallest_step_of_fixed_point_is_told_apart) {
  const _HubProfileReport vector = report(4, 0, 0, 3).u32(0, 1).u32(4, 0xFFFFFFFF);  // 2^-16 and -2^-16
  check({{"x == 0.0000152587890625", true},
         {"x > 0", true},
         {"x < 0.0000152587890626", true},
         {"y == -0.0000152587890625", true},
         {"y < 0", true},
         {"y > -0.0000152587890626", true}},
        vector);
}

TEST(RecordFilter, list_holds_for_each_of_its_values) {
  check({{"duration in (1000)", true},
         {"duration in (3, 1000, 2)", true},
         {"duration in (3, 2, 1, 1)", false},
         {"duration in (-1, 1000.5, 0x3e8)", true},
         {"!(duration in (1, 2))", true}},
        kCall);
}

TEST(RecordFilter, ids_compare_by_name_and_by_number) {
  const _HubProfileReport sample = report(7, 3, 5, 2);
  check({{"category == sshb", true},
         {"category == 'sshb'", true},
         {"category == 7", true},
         {"category == \"7\"", true},
         {"category == 007", true},
         {"category != sshb", false},
         {"category != haptics", true},
         {"category > 6 && category < 8", true},
         {"category in (uart, 7)", true},
         {"category in (uart, 6)", false},
         {"event == ckp_VossaStartHaptics", true},
         {"event == 5", true},
         {"event in (3, ckp_VossaStartHaptics)", true},
         {"type == short-data", true},
         {"type == event", false},
         {"type == 2.5", false},
         {"type < 2.5", true}},
        sample);
}

TEST(RecordFilter, name_of_an_id_is_the_one_it_has_in_its_component) {
  const char* scheduler = "component == scheduler";
  EXPECT_TRUE(holds(scheduler, report(0, 0, 0, 0)));
  EXPECT_FALSE(holds(scheduler, report(7, 0, 0, 0)));
  EXPECT_FALSE(holds(scheduler, report(200, 0, 0, 0)));
  EXPECT_TRUE(holds("event == action", report(0, 2, 0, 0)));
  EXPECT_FALSE(holds("event == action", report(0, 1, 0, 0)));
  EXPECT_FALSE(holds("event == ckp_VossaStartHaptics", report(7, 2, 5, 0)));
  EXPECT_TRUE(holds("event != ckp_VossaStartHaptics", report(7, 2, 5, 0)));
}

TEST(RecordFilter, subtypes_compare_by_the_name_of_their_component) {
  const _HubProfileReport sshb = report(7, 0, 0, 3).u32(0, 50);
  const _HubProfileReport haptics = report(11, 7, 0, 3).u32(0, 14);
  EXPECT_TRUE(holds("trace == PlayAssetBegin", sshb));
  EXPECT_TRUE(holds("trace == 50", sshb));
  EXPECT_TRUE(holds("trace == PlayAssetBegin", haptics));
  EXPECT_FALSE(holds("sshb-trace.trace == PlayAssetBegin", haptics));
  EXPECT_TRUE(holds("haptics-trace.trace =~ '^Play'", haptics));
  EXPECT_FALSE(holds("trace == PlayAssetBegin", report(11, 5, 0, 3).u32(0, 14)));
}

TEST(RecordFilter, pattern_is_searched_in_the_name) {
  check({{"event =~ Vossa", true},
         {"event =~ '^ckp_.*Haptics$'", true},
         {"event =~ '^Vossa'", false},
         {"event =~ '(?i)VOSSA'", true},
         {"event =~ '5'", false},
         {"!(category =~ '^s')", false}},
        report(7, 3, 5, 2));
}

TEST(RecordFilter, pattern_is_searched_in_the_number_of_an_id_without_a_name) {
  check({{"category =~ '^2.0$'", true}, {"component =~ '17'", true}, {"event =~ '^255$'", true}, {"type =~ '9'", true}},
        report(200, 17, 255, 99));
}

TEST(RecordFilter, texts_compare_byte_by_byte) {
  const _HubProfileReport sample = report(2, 0, 9, 8).text(19, "accel");
  check({{"name == accel", true},
         {"name == Accel", false},
         {"name != accel", false},
         {"name != acce", true},
         {"name < accem", true},
         {"name < accel", false},
         {"name <= accel", true},
         {"name > acce", true},
         {"name > 'accel'", false},
         {"name >= accel", true},
         {"name < '\\xff'", true},
         {"name in (gyro, 'accel')", true},
         {"name in (gyro, '')", false},
         {"name =~ 'c+e'", true},
         {"name =~ '^c'", false},
         {"sensorinfo.name == accel", true},
         {"decimationinfo.name == accel", false}},
        sample);
}

TEST(RecordFilter, escapes_stand_for_their_characters) {
  const _HubProfileReport sample = report(2, 0, 9, 8).text(19, "a\"'\\\n\t\xff");
  check({{R"(name == "a\"'\\\n\t\xff")", true},
         {R"(name == 'a"\'\\\n\t\xFF')", true},
         {R"(name == "a\"'\\\n\t\xfe")", false}},
        sample);
}

TEST(RecordFilter, text_that_is_no_utf8_is_searched_by_bytes) {
  const _HubProfileReport foreign = report(2, 0, 9, 8).text(19, "a\xff\xc3\xa9z");
  check({{"name =~ '^a.\xc3\xa9z$'", true},
         {"name =~ '^a...z$'", true},
         {"name =~ '^a..z$'", false},
         {"name =~ '\\xff'", true},
         {"name =~ '\\\\xff'", true}},
        foreign);
}

TEST(RecordFilter, text_that_is_utf8_is_searched_by_characters) {
  const _HubProfileReport sample = report(2, 0, 9, 8).text(19, "a\xc3\xa9z");
  check({{"name =~ '^a.z$'", true}, {"name =~ '^a\xc3\xa9z$'", true}, {"name =~ '\\xa9z$'", true}}, sample);
}

TEST(RecordFilter, bytes_compare_as_hexadecimal_text) {
  const _HubProfileReport sample = report(0, 0, 0, 1).u16(4, 3).u8(8, 0x0a).u8(9, 0x01).u8(10, 0xff);
  check({{"raw-data == '0a01ff'", true},
         {"raw-data == '0a01'", false},
         {"raw-data != '0a01'", true},
         {"raw-data in ('', '0a01ff')", true},
         {"raw-data in (ff, aa)", false},
         {"raw-data =~ '01ff$'", true},
         {"raw-data =~ '0A'", false},
         {"raw-data =~ '^(..){3}$'", true}},
        sample);
  EXPECT_TRUE(holds("raw-data == ''", report(0, 0, 0, 1)));
}

TEST(RecordFilter, record_without_the_field_matches_only_a_negation) {
  check({{"arg1 == 0", false},
         {"arg1 != 0", false},
         {"arg1 >= 0", false},
         {"arg1 in (0)", false},
         {"name =~ ''", false},
         {"!(arg1 == 0)", true},
         {"!arg1 != 0", true},
         {"!arg1 == 0 && duration == 1000", true}},
        kCall);
}

TEST(RecordFilter, value_in_one_of_two_layouts_is_enough) {
  check({{"arg1 == 20", true},
         {"arg1 == 10", true},
         {"arg1 in (20, 30)", true},
         {"arg1 < 15", true},
         {"arg1 > 15", true},
         {"arg1 > 20", false},
         {"sshb-trace.arg1 == 20", true},
         {"event.arg1 == 20", false}},
        kTrace);
}

TEST(RecordFilter, unequal_holds_when_no_layout_has_the_value) {
  check({{"arg1 != 20", false}, {"arg1 != 10", false}, {"arg1 != 30", true}, {"!(arg1 == 30)", true}}, kTrace);
}

TEST(RecordFilter, precedence_is_that_of_c) {
  check({{"depth == 0 || depth == 1 && depth == 2", true},
         {"(depth == 0 || depth == 1) && depth == 2", false},
         {"depth == 2 && depth == 1 || depth == 0", true},
         {"depth == 2 && (depth == 1 || depth == 0)", false},
         {"!depth == 1 && depth == 0", true},
         {"!(depth == 1 && depth == 0)", true},
         {"!depth == 0 || depth == 0", true},
         {"!(depth == 0 || depth == 0)", false},
         {"!!depth == 0", true},
         {"!!!(depth == 0)", false},
         {"!(!(depth == 0) || !(depth == 0))", true},
         {"depth == 1 || depth == 2 || depth == 0", true},
         {"depth == 0 && depth == 0 && depth == 1", false}},
        kCall);
}

TEST(RecordFilter, blanks_and_line_ends_may_stand_between_all_words) {
  check({{"duration==1000&&depth==0", true},
         {" \t\r\n( duration\n== 1000 ) ", true},
         {"duration in(1000)", true},
         {"duration in ( 1,1000 )", true}},
        kCall);
}

TEST(RecordFilter, every_field_can_be_asked_for) {
  for (const std::string& name : host::RecordField::all_names()) {
    const host::FieldType type = host::RecordField::named(name)->type();
    const bool takes_text = type == host::FieldType::kText || type == host::FieldType::kBytes;
    const std::string value = takes_text ? " == ''" : " == 0";
    EXPECT_NO_THROW(static_cast<void>(RecordFilter::parse(name + value))) << name;
  }
}

TEST(RecordFilter, every_name_can_be_given_as_a_word) {
  const _HubProfileReport info = report(0, 0, 0, 0);
  EXPECT_TRUE(holds("category == exec && event == context-switch && type == stop", info));
  EXPECT_NO_THROW(static_cast<void>(RecordFilter::parse("trace in (RTPHapticsManagerRequestCmp, AmpTimerStarted)")));
}

TEST(RecordFilter, two_hundred_parentheses_may_stand_in_each_other) {
  const std::string deepest = std::string(200, '(') + "depth == 0" + std::string(200, ')');
  EXPECT_TRUE(holds(deepest, kCall));
  EXPECT_FALSE(holds("!" + deepest, kCall));
}

TEST(RecordFilter, expression_of_64_kib_is_taken) {
  std::string longest = "depth == 0";
  while (longest.size() + 14 <= 65536) {
    longest += " && depth == 0";
  }
  longest.resize(65536, ' ');
  EXPECT_TRUE(holds(longest, kCall));
}

TEST(RecordFilter, many_signs_of_negation_are_taken) {
  EXPECT_TRUE(holds(std::string(60000, '!') + "depth == 0", kCall));
  EXPECT_FALSE(holds(std::string(60001, '!') + "depth == 0", kCall));
}

TEST(RecordFilter, copy_outlives_the_original_and_the_expression) {
  auto original = std::make_unique<RecordFilter>(RecordFilter::parse(std::string("event =~ '^func' || depth == 1")));
  const RecordFilter copy = *original;
  original.reset();
  EXPECT_TRUE(copy.matches(kCall));
}

TEST(RecordFilter, one_object_serves_several_threads) {
  const RecordFilter filter = RecordFilter::parse("event =~ unction && (name =~ a || duration in (1, 1000))");
  in_threads(4, [&filter](std::size_t /*index*/) {
    for (int turn = 0; turn < 1000; ++turn) {
      EXPECT_TRUE(filter.matches(kCall));
      EXPECT_FALSE(filter.matches(kTrace));
    }
  });
}

}  // namespace
}  // namespace hub::test
