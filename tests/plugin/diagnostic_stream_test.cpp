// SPDX-License-Identifier: Apache-2.0
// A sensor's diagnostic streams: every tag, what ends an entry, and what a stream that is cut off gives.
#include "diagnostic_stream.h"

#include <string>

#include "tests/plugin/sensor_fixture.h"
#include "tests/support/property_list_bytes.h"

namespace hub::test {
namespace {

// The entries of a stream in hex.
Story entries_of(const std::string& stream) {
  const std::string bytes = from_hex(stream);
  Story entries;
  readDiagnosticStream(std::as_bytes(std::span(bytes)), [&](const char* text) { entries.emplace_back(text); });
  return entries;
}

class DiagnosticStreams : public SensorStateTest {
 protected:
  // The "extra" entries when properties 57 to 60 answer these streams, in hex.
  Entries extras(const Story& streams) {
    std::uint32_t property = 57;
    for (const std::string& stream : streams) {
      driver.properties[property++] = Reply{from_hex(stream)};
    }
    return only(snapshot().entries(), "extra");
  }
};

TEST(DiagnosticStream, without_a_byte_has_no_entry) { EXPECT_EQ(entries_of(""), Story{}); }

TEST(DiagnosticStream, tag_0_is_a_signed_number_of_32_bits) {
  EXPECT_EQ(entries_of("00 ff 00 00 00"), (Story{"255"}));
  EXPECT_EQ(entries_of("00 fe ff ff ff"), (Story{"-2"}));
  EXPECT_EQ(entries_of("00 00 00 00 80"), (Story{"-2147483648"}));
}

TEST(DiagnosticStream, tag_1_is_a_signed_number_of_64_bits) {
  EXPECT_EQ(entries_of("01 00 00 00 00 01 00 00 00"), (Story{"4294967296"}));
  EXPECT_EQ(entries_of("01 00 00 00 00 00 00 00 80"), (Story{"-9223372036854775808"}));
}

TEST(DiagnosticStream, tag_2_is_a_text_up_to_its_zero) { EXPECT_EQ(entries_of("02 6f 6b 00"), (Story{"ok"})); }

TEST(DiagnosticStream, items_without_a_mark_between_them_are_one_entry) {
  EXPECT_EQ(entries_of("02 61 3d 00 00 05 00 00 00 02 20 62 3d 00 01 06 00 00 00 00 00 00 00"), (Story{"a=5 b=6"}));
}

TEST(DiagnosticStream, tag_3_ends_an_entry_when_the_next_tag_comes) {
  EXPECT_EQ(entries_of("04 00 ff 00 00 00 03 02 6f 6b 00"), (Story{"ff", "ok"}));
}

TEST(DiagnosticStream, every_tag_after_a_mark_stores_the_entry_first) {
  EXPECT_EQ(entries_of("02 61 00 03 00 05 00 00 00"), (Story{"a", "5"}));
  EXPECT_EQ(entries_of("02 61 00 03 01 05 00 00 00 00 00 00 00"), (Story{"a", "5"}));
  for (const char* tag : {"04", "05", "06", "7f", "ff"}) {
    EXPECT_EQ(entries_of(std::string("02 61 00 03 ") + tag + " 02 62 00"), (Story{"a", "b"})) << tag;
  }
}

TEST(DiagnosticStream, mark_that_ends_the_stream_stores_the_last_text_once) {
  EXPECT_EQ(entries_of("02 61 00 03"), (Story{"a"}));
}

TEST(DiagnosticStream, mark_without_a_text_at_the_end_stores_nothing) {
  EXPECT_EQ(entries_of("03"), Story{});
  EXPECT_EQ(entries_of("02 61 00 03 06 03"), (Story{"a"}));
}

TEST(DiagnosticStream, mark_without_a_text_in_between_stores_an_empty_entry) {
  EXPECT_EQ(entries_of("03 02 61 00"), (Story{"", "a"}));
  EXPECT_EQ(entries_of("03 03"), (Story{""}));
  EXPECT_EQ(entries_of("02 61 00 03 03 03 02 62 00"), (Story{"a", "", "", "b"}));
}

TEST(DiagnosticStream, empty_text_is_no_entry_at_the_end) { EXPECT_EQ(entries_of("02 00"), Story{}); }

TEST(DiagnosticStream, tag_4_makes_numbers_hexadecimal_until_tag_5) {
  EXPECT_EQ(entries_of("04 00 fe ff ff ff 02 20 00 01 ff ff ff ff ff ff ff ff 02 20 00 05 00 fe ff ff ff"),
            (Story{"fffffffe ffffffffffffffff -2"}));
}

TEST(DiagnosticStream, hexadecimal_mode_outlasts_an_entry) {
  EXPECT_EQ(entries_of("04 00 0a 00 00 00 03 00 0b 00 00 00"), (Story{"a", "b"}));
}

TEST(DiagnosticStream, tags_from_6_on_are_one_byte_that_means_nothing) {
  for (unsigned tag = 6; tag < 256; ++tag) {
    EXPECT_EQ(entries_of("02 61 00" + hex_number(tag) + " 02 62 00"), (Story{"ab"})) << tag;
  }
}

TEST(DiagnosticStream, number_that_is_cut_off_is_dropped_and_ends_the_stream) {
  for (std::size_t length = 0; length < 4; ++length) {
    EXPECT_EQ(entries_of("02 61 00 00" + repeated(length, "02")), (Story{"a"})) << length;
  }
  for (std::size_t length = 0; length < 8; ++length) {
    EXPECT_EQ(entries_of("02 61 00 01" + repeated(length, "02")), (Story{"a"})) << length;
  }
}

TEST(DiagnosticStream, number_that_is_cut_off_behind_a_mark_leaves_the_entry_stored) {
  EXPECT_EQ(entries_of("02 61 00 03 00 01 02"), (Story{"a"}));
  EXPECT_EQ(entries_of("03 01 01 02"), (Story{""}));
}

TEST(DiagnosticStream, text_without_a_zero_goes_to_the_end) {
  EXPECT_EQ(entries_of("02 6f 6b"), (Story{"ok"}));
  EXPECT_EQ(entries_of("02"), Story{});
  EXPECT_EQ(entries_of("02 61 00 03 02"), (Story{"a"}));
}

TEST(DiagnosticStream, entry_is_cut_to_1023_bytes) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 3000U}) {
    const std::string kept(std::min<std::size_t>(length, 1023), 'a');
    EXPECT_EQ(entries_of("02" + repeated(length, "61")), (Story{kept})) << length;
  }
  const std::string full = "02" + repeated(1020, "61") + " 00";
  EXPECT_EQ(entries_of(full + " 00 39 30 00 00 02 62 00"), (Story{std::string(1020, 'a') + "123"}));
}

TEST(DiagnosticStream, entry_after_one_that_was_cut_is_whole) {
  EXPECT_EQ(entries_of("02" + repeated(1030, "61") + " 00 03 02 62 00"), (Story{std::string(1023, 'a'), "b"}));
}

TEST_F(DiagnosticStreams, entries_are_counted_through_all_four) {
  EXPECT_EQ(extras({"02 61 00 03 02 62 00", "02 63 00", "", "02 64 00 03 02 65 00"}),
            (Entries{{"extra0", "'a'"}, {"extra1", "'b'"}, {"extra2", "'c'"}, {"extra3", "'d'"}, {"extra4", "'e'"}}));
}

TEST_F(DiagnosticStreams, each_begins_decimal_and_without_a_mark) {
  EXPECT_EQ(extras({"04 00 0a 00 00 00 03", "00 0a 00 00 00", "04", "00 0b 00 00 00"}),
            (Entries{{"extra0", "'a'"}, {"extra1", "'10'"}, {"extra2", "'11'"}}));
}

TEST_F(DiagnosticStreams, mark_at_the_end_of_one_stores_nothing_in_the_next) {
  EXPECT_EQ(extras({"03", "02 61 00"}), (Entries{{"extra0", "'a'"}}));
}

TEST_F(DiagnosticStreams, empty_entries_are_shown) { EXPECT_EQ(extras({"03 03"}), (Entries{{"extra0", "''"}})); }

TEST_F(DiagnosticStreams, read_that_fails_gives_nothing_whatever_was_written) {
  driver.properties[57] = Reply{from_hex("02 61 00"), kIOReturnTimeout};
  driver.properties[60] = Reply{from_hex("02 62 00")};
  EXPECT_EQ(extras({}), (Entries{{"extra0", "'b'"}}));
}

TEST_F(DiagnosticStreams, of_256_bytes_are_read_whole) {
  EXPECT_EQ(extras({"02" + repeated(255, "61")}), (Entries{{"extra0", "'" + std::string(255, 'a') + "'"}}));
}

TEST_F(DiagnosticStreams, of_a_length_beyond_the_buffer_end_with_the_buffer) {
  driver.properties[57] = Reply{from_hex("02" + repeated(255, "61")), kIOReturnSuccess, 1000000};
  EXPECT_EQ(extras({}), (Entries{{"extra0", "'" + std::string(255, 'a') + "'"}}));
}

TEST_F(DiagnosticStreams, counter_goes_on_past_an_entry_that_is_no_ascii) {
  EXPECT_EQ(extras({"02 80 00 03 02 61 00", "02 62 00"}), (Entries{{"extra1", "'a'"}, {"extra2", "'b'"}}));
}

}  // namespace
}  // namespace hub::test
