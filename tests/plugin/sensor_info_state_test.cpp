// SPDX-License-Identifier: Apache-2.0
// A sensor's description: what is asked of the co-processor, in which order, and where each answer is shown.
#include <string>

#include "tests/plugin/sensor_fixture.h"

namespace hub::test {
namespace {

using platform::Fallible;

// The replies of one number that a reader relies on: -1 stands for those that did not come.
struct NumberRow {
  std::uint32_t property;
  const char* key;
};
constexpr NumberRow kCheckedNumbers[] = {
    {64, "systickInterval"},     {36, "decimationEnabled"}, {10, "rawMode"}, {13, "factoryMode"},
    {61, "calibrationComplete"}, {45, "startupTime"},       {25, "intCal"},
};

using SensorInfoState = SensorStateTest;

TEST_F(SensorInfoState, asks_for_each_property_in_order_with_its_size_and_then_for_the_clients) {
  capture();
  EXPECT_EQ(driver.story,
            (Story{
                "property 0 room 4",    "property 15 room 32",  "property 16 room 32",  "property 68 room 5",
                "property 64 room 4",   "property 36 room 4",   "property 67 room 20",  "property 10 room 4",
                "property 13 room 4",   "property 61 room 4",   "property 45 room 4",   "property 25 room 4",
                "property 11 room 36",  "property 26 room 12",  "property 24 room 9",   "property 29 room 36",
                "property 56 room 128", "property 57 room 256", "property 58 room 256", "property 59 room 256",
                "property 60 room 256", "command 57 room 496",
            }));
}

TEST_F(SensorInfoState, shows_every_answer_under_its_key_and_nothing_else) {
  driver.properties = {
      {0, number_reply(20000)},
      {15, reply(32).text(0, "Vantu")},
      {16, reply(32).text(0, "A7")},
      {68, reply(5).text(0, "B").u32(1, 1)},
      {64, number_reply(64)},
      {36, number_reply(36)},
      {67, reply(20).u32(0, 671).u32(4, 672).u32(8, 673).u32(12, 674).u32(16, 675)},
      {10, number_reply(10)},
      {13, number_reply(13)},
      {61, number_reply(61)},
      {45, number_reply(45)},
      {25, number_reply(25)},
      {11, reply(36).u32(0, 0x10000).u32(16, 0x20000).u32(32, 0x30000)},
      {26, reply(12).u32(0, 261).u32(4, -262).u32(8, 263)},
      {24, reply(9).u8(0, 1).u8(4, -1).u8(8, 1)},
      {29, reply(36).u32(4, 0x8000)},
      {56, reply(128).u32(0, 1).u16(4, 0x10).u16(6, 0x2A)},
      {57, Reply{std::string("\2ok\0", 4)}},
  };
  driver.commands[57] = reply(31).text(0, "hid").u8(28, 1);
  platform::add_registry_entry(sensor->driver_entry, "queue", "Queue", nullptr);
  EXPECT_EQ(snapshot().entries(),
            (Entries{{"reportInterval", "20000"},
                     {"sensorType", "'als-carrier'"},
                     {"manufacturer", "'Vantu'"},
                     {"model", "'A7'"},
                     {"location", "'B alternate=1'"},
                     {"systickInterval", "64"},
                     {"decimationEnabled", "36"},
                     {"sensorBatchInterval", "671"},
                     {"muxBatchInterval", "672"},
                     {"apBatchInterval", "673"},
                     {"apReportInterval", "674"},
                     {"endpointBatchCount", "675"},
                     {"rawMode", "10"},
                     {"factoryMode", "13"},
                     {"calibrationComplete", "61"},
                     {"startupTime", "45"},
                     {"intCal", "25"},
                     {"calibrationMatrix",
                      "'1.000000 0.000000 0.000000 | 0.000000 2.000000 0.000000 | 0.000000 0.000000 3.000000'"},
                     {"calibrationOffset", "'261 -262 263'"},
                     {"orientationMatrix", "'1 0 0, 0 -1 0, 0 0 1'"},
                     {"compassSensitivityCalibrationMatrix",
                      "'0.000000 0.500000 0.000000 | 0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000'"},
                     {"registers", "'R10=2a '"},
                     {"extra0", "'ok'"},
                     {"client0", "'hid: report=0 batch=0 threshold=0 timelimit=0'"},
                     {"APEvents", "'-1 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n'"}}));
  EXPECT_EQ(log, Story{});
}

TEST_F(SensorInfoState, reads_that_fail_show_minus_one_where_they_are_checked_and_zeros_elsewhere) {
  const std::string zeros = "'0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000'";
  EXPECT_EQ(snapshot().entries(), (Entries{{"reportInterval", "0"},
                                           {"sensorType", "'als-carrier'"},
                                           {"manufacturer", "''"},
                                           {"model", "''"},
                                           {"location", "'N/A'"},
                                           {"systickInterval", "-1"},
                                           {"decimationEnabled", "-1"},
                                           {"sensorBatchInterval", "0"},
                                           {"muxBatchInterval", "0"},
                                           {"apBatchInterval", "0"},
                                           {"apReportInterval", "0"},
                                           {"endpointBatchCount", "0"},
                                           {"rawMode", "-1"},
                                           {"factoryMode", "-1"},
                                           {"calibrationComplete", "-1"},
                                           {"startupTime", "-1"},
                                           {"intCal", "-1"},
                                           {"calibrationMatrix", zeros},
                                           {"calibrationOffset", "'0 0 0'"},
                                           {"orientationMatrix", "'0 0 0, 0 0 0, 0 0 0'"},
                                           {"compassSensitivityCalibrationMatrix", zeros},
                                           {"registers", "''"}}));
  EXPECT_EQ(log, Story{});
}

TEST_F(SensorInfoState, checked_number_of_another_length_than_4_is_minus_one) {
  for (const auto& [property, key] : kCheckedNumbers) {
    for (const std::size_t length : {0U, 1U, 3U}) {
      EXPECT_EQ(shown(key, property, reply(length)), "-1") << key << " of " << length;
    }
    EXPECT_EQ(shown(key, property, Reply{std::string(4, '\0'), kIOReturnSuccess, 1}), "-1") << key << " of 5";
    EXPECT_EQ(shown(key, property, number_reply(0)), "0") << key;
  }
}

TEST_F(SensorInfoState, checked_number_that_fails_is_minus_one_whatever_was_written) {
  for (const auto& [property, key] : kCheckedNumbers) {
    EXPECT_EQ(shown(key, property, Reply{number_reply(5).bytes, kIOReturnTimeout}), "-1") << key;
  }
}

TEST_F(SensorInfoState, numbers_are_signed_and_of_32_bits) {
  EXPECT_EQ(shown("reportInterval", 0, number_reply(0xFFFFFFFF)), "-1");
  EXPECT_EQ(shown("startupTime", 45, number_reply(0x80000000)), "-2147483648");
  EXPECT_EQ(shown("endpointBatchCount", 67, reply(20).u32(16, -7)), "-7");
}

TEST_F(SensorInfoState, unchecked_read_that_comes_short_shows_zeros_for_the_rest) {
  driver.properties[67] = reply(7).u32(0, 1).u16(4, 2);
  const Snapshot first = snapshot();
  EXPECT_EQ(first.entry("sensorBatchInterval"), "1");
  EXPECT_EQ(first.entry("muxBatchInterval"), "2");
  EXPECT_EQ(first.entry("apBatchInterval"), "0");
  EXPECT_EQ(shown("calibrationOffset", 26, reply(4).u32(0, -9)), "'-9 0 0'");
}

TEST_F(SensorInfoState, one_reply_leaves_nothing_behind_for_the_next) {
  driver.properties[15] = Reply{std::string(32, 'm')};
  EXPECT_EQ(shown("model", 16, Reply{"x"}), "'x'");
}

TEST_F(SensorInfoState, unchecked_read_of_a_length_beyond_the_buffer_shows_the_buffer) {
  EXPECT_EQ(shown("manufacturer", 15, Reply{std::string(40, 'm'), kIOReturnSuccess, 1000}),
            "'" + std::string(32, 'm') + "'");
}

TEST_F(SensorInfoState, report_interval_of_another_length_than_4_is_zero) {
  for (const std::size_t length : {0U, 1U, 3U}) {
    EXPECT_EQ(shown("reportInterval", 0, reply(length, '\1')), "0") << length;
  }
  EXPECT_EQ(shown("reportInterval", 0, Reply{"full", kIOReturnSuccess, 1}), "0") << "5, as reported";
}

TEST_F(SensorInfoState, report_interval_that_fails_is_told_with_its_text_and_gives_no_record) {
  driver.properties[0].status = kIOReturnTimeout;
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(driver.story, (Story{"property 0 room 4"}));
  EXPECT_EQ(log, (Story{assertion("result == 0 ", 917, "timed out")}));
}

TEST_F(SensorInfoState, report_interval_that_fails_without_a_text_is_told_with_an_empty_one) {
  driver.properties[0].status = 5;
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(log, (Story{assertion("result == 0 ", 917)}));
}

TEST_F(SensorInfoState, without_a_driver_interface_tells_that_and_the_failed_read) {
  platform::clear_state_handlers();
  ServiceScript script = called("silent");
  script.driver.gives_interface = false;
  announce({kSensor}, std::move(script));
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(
      log, (Story{assertion("context->_driver._interface", 1152), assertion("result == 0 ", 917, "device not ready")}));
}

TEST_F(SensorInfoState, device_that_belongs_to_nothing_is_told_with_its_text_and_gives_no_record) {
  platform::clear_state_handlers();
  announce({kSensor});
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(driver.story, (Story{"property 0 room 4"}));
  EXPECT_EQ(log, (Story{assertion("kr == 0 ", 921, "no such device")}));
}

TEST_F(SensorInfoState, failures_are_not_told_when_nothing_is_recorded_at_that_level) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kError);
  driver.properties[0].status = kIOReturnTimeout;
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(log, Story{});
}

TEST_F(SensorInfoState, type_whose_name_cannot_be_had_is_empty) {
  EXPECT_EQ(capture_failing(Fallible::kIORegistryEntryGetName, 1).at(0).entry("sensorType"), "''");
}

TEST_F(SensorInfoState, type_of_127_bytes_is_shown_whole) {
  platform::clear_state_handlers();
  announce({kSensor}, called(std::string(119, 'n')));
  EXPECT_EQ(snapshot().entry("sensorType"), "'" + std::string(119, 'n') + "-carrier'");
}

TEST_F(SensorInfoState, dictionary_that_cannot_be_made_is_told_and_nothing_is_read) {
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFDictionaryCreateMutable, 1)), Story{});
  EXPECT_EQ(driver.story, Story{});
  EXPECT_EQ(log, (Story{assertion("state", 914)}));
}

TEST_F(SensorInfoState, client_table_that_fails_gives_no_record_and_no_message) {
  driver.commands[57] = Reply{std::string(31, '\1'), kIOReturnTimeout};
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(driver.story.back(), "command 57 room 496");
  EXPECT_EQ(log, Story{});
}

TEST_F(SensorInfoState, client_table_has_a_record_every_31_bytes) {
  const std::pair<std::size_t, std::size_t> counts[] = {{0, 0},  {1, 0},  {30, 0},   {31, 1},
                                                        {61, 1}, {62, 2}, {495, 15}, {496, 16}};
  for (const auto& [length, count] : counts) {
    driver.commands[57] = reply(length, '\1');
    EXPECT_EQ(only(snapshot().entries(), "client").size(), count) << length;
  }
}

TEST_F(SensorInfoState, client_table_of_a_length_beyond_the_buffer_has_the_16_records_of_the_buffer) {
  driver.commands[57] = Reply{std::string(496, '\1'), kIOReturnSuccess, 1000000};
  EXPECT_EQ(only(snapshot().entries(), "client").size(), 16U);
}

TEST_F(SensorInfoState, clients_that_are_not_in_use_are_left_out_and_keep_their_number) {
  driver.commands[57] = reply(62).text(0, "gone").text(31, "hid").u32(43, 1).u32(47, 2).u32(51, 3).u32(55, 4).u8(59, 1);
  EXPECT_EQ(only(snapshot().entries(), "client"),
            (Entries{{"client1", "'hid: report=1 batch=2 threshold=3 timelimit=4'"}}));
}

TEST_F(SensorInfoState, client_whose_in_use_byte_is_not_zero_is_shown) {
  for (const int in_use : {1, 2, 0x80, 0xFF}) {
    driver.commands[57] = reply(31).u8(28, in_use);
    EXPECT_EQ(only(snapshot().entries(), "client").size(), 1U) << in_use;
  }
}

TEST_F(SensorInfoState, texts_that_are_no_ascii_are_left_out_alone) {
  const std::size_t all = snapshot().entries().size();
  driver.properties[15] = reply(32).text(0, "V\xC3\xA4ntu");
  driver.properties[68] = reply(5).u8(0, 0x80);
  driver.properties[57] = Reply{std::string("\2\x80\0\3\2ok\0", 9)};
  driver.commands[57] = reply(31).text(0, "\xFF").u8(28, 1);
  const Snapshot shown_now = snapshot();
  EXPECT_EQ(shown_now.entry("manufacturer"), "none");
  EXPECT_EQ(shown_now.entry("location"), "none");
  EXPECT_EQ(shown_now.entry("client0"), "none");
  EXPECT_EQ(only(shown_now.entries(), "extra"), (Entries{{"extra1", "'ok'"}})) << "the counter went on";
  EXPECT_EQ(shown_now.entries().size(), all - 2 + 1);
}

}  // namespace
}  // namespace hub::test
