// SPDX-License-Identifier: Apache-2.0
// The payload types that every category shares, printed by the base decoder (category 8).
#include "profile/core_payloads.h"

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using CorePayloads = DecodeTest;

ReportBuilder of_type(unsigned type) { return report(8, 0, 0, type); }

TEST_F(CorePayloads, types_without_a_layout_add_no_items) {
  for (unsigned type : {0U, 6U, 7U, 10U, 13U, 14U, 128U, 200U, 255U}) {
    EXPECT_EQ(payload_items(of_type(type).count_up()), "") << "type " << type;
  }
}

TEST_F(CorePayloads, stop_is_followed_directly_by_the_type_id) {
  EXPECT_NE(line(of_type(0)).find(" 'sequence_num':         0, 'type-id':0,"), std::string::npos);
}

TEST_F(CorePayloads, long_data_prints_sizes_and_the_bytes_in_use) {
  EXPECT_EQ(payload_items(of_type(1).count_up().u16(0, 513).u16(2, 1027).u16(4, 3).u16(6, 65535)),
            " 'subtype':       513, 'packet-size':      1027, 'data-length':         3, 'data-offset':     65535,"
            " 'raw-data':  [8,9,10],");
}

TEST_F(CorePayloads, long_data_of_length_zero_prints_an_empty_list_in_its_column) {
  EXPECT_EQ(payload_items(of_type(1)),
            " 'subtype':         0, 'packet-size':         0, 'data-length':         0, 'data-offset':         0,"
            " 'raw-data':        [],");
}

TEST_F(CorePayloads, long_data_is_cut_at_24_bytes) {
  const std::string all = "[8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31],";
  for (unsigned length : {24U, 25U, 100U, 65535U}) {
    EXPECT_TRUE(payload_items(of_type(1).count_up().u16(4, length)).ends_with(" 'raw-data':" + all)) << length;
  }
}

TEST_F(CorePayloads, long_data_of_each_length_dumps_that_many_bytes) {
  for (unsigned length = 1; length <= 24; ++length) {
    const std::string items = payload_items(of_type(1).fill(7).u16(4, length));
    const std::string list = items.substr(items.find('['));
    EXPECT_EQ(list.size(), 2 * length + 2) << items;  // "7," or "7]" for each, "[" before and "," behind
  }
}

TEST_F(CorePayloads, short_data_prints_fixed_sizes_whatever_its_bytes_hold) {
  EXPECT_EQ(payload_items(of_type(2).fill(255)),
            " 'subtype':     65535, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
            " 'raw-data':[255,255,255,255,255,255,255,255,255,255,255,255,255,255,255,"
            "255,255,255,255,255,255,255,255,255,255,255,255,255,255,255],");
}

TEST_F(CorePayloads, short_data_dumps_the_30_bytes_behind_the_subtype) {
  EXPECT_TRUE(payload_items(of_type(2).count_up())
                  .ends_with(" 'raw-data':[2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,"
                             "30,31],"));
}

TEST_F(CorePayloads, event_prints_six_arguments_in_decimal_and_in_hexadecimal) {
  EXPECT_EQ(
      payload_items(of_type(3).u32(0, 255).u32(4, 1).u32(8, 0).u32(12, 4294967295).u32(16, 305441741).u32(20, 10)),
      " 'arg1':       255, 'arg2':         1, 'arg3':         0, 'arg4':4294967295, 'arg5': 305441741,"
      " 'arg6':        10,"
      " 'xarg1':         'ff', 'xarg2':         '1', 'xarg3':         '0', 'xarg4':         'ffffffff',"
      " 'xarg5':         '1234abcd', 'xarg6':         'a',");
}

TEST_F(CorePayloads, items_behind_an_event_are_decimal_again) {
  EXPECT_NE(line(report(200, 100, 50, 3)).find(" 'type-id':3, 'category-id':200, 'component-id':100, 'event-id':50,"),
            std::string::npos);
}

TEST_F(CorePayloads, kept_trigger_prints_the_thread_twice) {
  EXPECT_EQ(payload_items(of_type(4).fill(255).u32(4, 1234)),
            " 'trigger':1, 'thread-id':      1234, 'arg':      1234,");
}

TEST_F(CorePayloads, function_prints_ids_durations_and_depth) {
  EXPECT_EQ(payload_items(of_type(5).u32(0, 1).u32(4, 22).u32(8, 333).u32(12, 4444).u32(16, 55555).u32(20, 4294967295)),
            " 'function-id':         1, 'extra-id':        22, 'thread-id':       333, 'duration':      4444,"
            " 'depth':     55555, 'thread_duration':4294967295,");
}

TEST_F(CorePayloads, sensorinfo_prints_its_name_first) {
  EXPECT_EQ(
      payload_items(
          of_type(8).u32(0, 10000).u32(4, 20).u32(8, 3).u32(12, 4).u8(16, 1).u8(17, 255).u8(18, 200).text(19, "acc")),
      " 'name':           'acc', 'report-interval':     10000, 'batch-interval':        20, 'threshold':         3,"
      " 'time-limit':         4, 'connected':         1, 'decimation':       255, 'gyroPowerMode':       200,");
}

TEST_F(CorePayloads, sensorinfo_name_without_a_zero_byte_ends_at_12_characters) {
  EXPECT_TRUE(payload_items(of_type(8).text(19, "abcdefghijklM")).starts_with(" 'name':  'abcdefghijkl',"));
}

TEST_F(CorePayloads, sensorinfo_does_not_show_its_last_byte) {
  EXPECT_EQ(payload_items(of_type(8).u8(31, 65)), payload_items(of_type(8)));
}

TEST_F(CorePayloads, extfunction_prints_its_name_first) {
  EXPECT_EQ(payload_items(of_type(9).u32(0, 1).u32(4, 2).u32(8, 3).u32(12, 4).text(16, "run")),
            " 'function':     'run', 'arg':         4, 'task':         1, 'thread':         2, 'duration':         3,");
}

TEST_F(CorePayloads, extfunction_name_fills_16_characters_at_most) {
  EXPECT_TRUE(payload_items(of_type(9).text(16, "0123456789abcdef")).starts_with(" 'function':'0123456789abcdef',"));
}

TEST_F(CorePayloads, annotation_prints_its_entry_as_number_and_as_text) {
  EXPECT_EQ(payload_items(of_type(11).u64(0, 18446744073709551615U).text(8, "ab").u32(16, 5).u32(20, 6)),
            " 'global-id':18446744073709551615, 'entry-id':     25185, 'entry':      'ab', 'arg1':         5,"
            " 'arg2':         6,");
}

TEST_F(CorePayloads, annotation_entry_of_eight_characters_is_printed_whole) {
  EXPECT_NE(payload_items(of_type(11).text(8, "abcdefgh").u32(16, 65)).find(" 'entry':'abcdefgh', 'arg1':        65,"),
            std::string::npos);
}

TEST_F(CorePayloads, decimationinfo_prints_its_name_first_and_the_next_dispatch_last) {
  EXPECT_EQ(payload_items(of_type(12).u64(0, 1099511627776).u32(8, 1).u32(12, 2).u32(16, 3).text(20, "gyro")),
            " 'name':          'gyro', 'sample-interval':         1, 'report-interval':         2,"
            " 'batch-interval':         3, 'next-dispatch':1099511627776,");
}

TEST_F(CorePayloads, decimationinfo_name_ends_with_the_record) {
  EXPECT_TRUE(payload_items(of_type(12).text(20, "abcdefghijkl")).starts_with(" 'name':  'abcdefghijkl',"));
}

TEST_F(CorePayloads, text_is_used_up_to_its_first_zero_byte) {
  EXPECT_TRUE(
      payload_items(of_type(8).text(19, std::string_view("ab\0cd", 5))).starts_with(" 'name':            'ab',"));
}

TEST_F(CorePayloads, empty_text_is_a_pair_of_quotes) {
  EXPECT_TRUE(payload_items(of_type(8)).starts_with(" 'name':              '',"));
}

TEST_F(CorePayloads, quotes_line_ends_and_control_bytes_in_a_text_are_copied) {
  EXPECT_TRUE(payload_items(of_type(8).text(19, "a'\n\r\t\x01\x7F")).starts_with(" 'name':       'a'\n\r\t\x01\x7F',"));
}

TEST_F(CorePayloads, padding_counts_bytes_not_characters) {
  EXPECT_TRUE(payload_items(of_type(8).text(19, "\u00E9\u20AC")).starts_with(" 'name':         '\u00E9\u20AC',"));
}

TEST_F(CorePayloads, categories_with_names_alone_print_the_shared_layouts) {
  for (unsigned category : {0U, 1U, 2U, 3U, 5U, 6U, 9U, 12U, 99U}) {
    for (unsigned type = 0; type < 14; ++type) {
      EXPECT_EQ(payload_items(report(category, 0, 1, type).count_up()), payload_items(of_type(type).count_up()))
          << "category " << category << ", type " << type;
    }
  }
}

}  // namespace
}  // namespace hub::test
