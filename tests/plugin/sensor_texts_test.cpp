// SPDX-License-Identifier: Apache-2.0
// A sensor's replies as texts: identity, matrices, registers and clients.
#include <string>

#include "tests/plugin/sensor_fixture.h"

namespace hub::test {
namespace {

class SensorTexts : public SensorStateTest {
 protected:
  std::string registers(Reply its_reply) { return shown("registers", 56, std::move(its_reply)); }

  // A dump of this count, in which word n of the 62 behind it is n.
  static ReplyBuilder dump(std::int64_t count) {
    ReplyBuilder words = reply(128).u32(0, count);
    for (std::int64_t word = 0; word < 62; ++word) {
      words.u16(static_cast<std::size_t>(4 + 2 * word), word);
    }
    return words;
  }

  // So many of the pairs that a dump shows.
  static std::string pairs(std::size_t count) {
    const std::string all =
        "R00=01 R04=05 R08=09 R0c=0d R10=11 R14=15 R18=19 R1c=1d "
        "R20=21 R24=25 R28=29 R2c=2d R30=31 R34=35 R38=39 R3c=3d ";
    return "'" + all.substr(0, 7 * count) + "'";
  }

  std::string client(const ReplyBuilder& record) {
    driver.commands[57] = ReplyBuilder(record).u8(28, 1);
    return snapshot().entry("client0");
  }
};

TEST_F(SensorTexts, identity_ends_at_its_zero_or_at_32_bytes) {
  for (const auto& [property, key] : {std::pair{15U, "manufacturer"}, std::pair{16U, "model"}}) {
    EXPECT_EQ(shown(key, property, reply(32)), "''");
    EXPECT_EQ(shown(key, property, reply(32, 'x').u8(3, 0)), "'xxx'");
    EXPECT_EQ(shown(key, property, reply(32, 'x').u8(31, 0)), "'" + std::string(31, 'x') + "'");
    EXPECT_EQ(shown(key, property, reply(32, 'x')), "'" + std::string(32, 'x') + "'");
  }
}

TEST_F(SensorTexts, identity_is_no_format) { EXPECT_EQ(shown("model", 16, reply(32).text(0, "%s%n%d")), "'%s%n%d'"); }

TEST_F(SensorTexts, location_is_a_letter_and_its_alternate) {
  EXPECT_EQ(shown("location", 68, reply(5).text(0, "B").u32(1, 1)), "'B alternate=1'");
  EXPECT_EQ(shown("location", 68, reply(5).text(0, "z").u32(1, INT32_MIN)), "'z alternate=-2147483648'");
}

TEST_F(SensorTexts, location_without_a_letter_is_not_available) {
  EXPECT_EQ(shown("location", 68, reply(5).u32(1, 1)), "'N/A'");
}

TEST_F(SensorTexts, location_that_comes_short_has_a_smaller_alternate) {
  EXPECT_EQ(shown("location", 68, Reply{std::string("B\1\1", 3)}), "'B alternate=257'");
}

TEST_F(SensorTexts, matrices_are_signed_numbers_of_16_bits_and_16_behind_the_point_row_by_row) {
  ReplyBuilder matrix = reply(36);
  matrix.u32(0, 0x10000).u32(4, -0x8000).u32(8, 1).u32(12, INT32_MAX).u32(16, INT32_MIN).u32(20, -1);
  matrix.u32(24, 0x18000).u32(28, 0x4000).u32(32, 0x70000);
  const std::string text =
      "'1.000000 -0.500000 0.000015 | 32767.999985 -32768.000000 -0.000015 | 1.500000 0.250000 7.000000'";
  EXPECT_EQ(shown("calibrationMatrix", 11, matrix), text);
  EXPECT_EQ(shown("compassSensitivityCalibrationMatrix", 29, matrix), text);
}

TEST_F(SensorTexts, offset_is_three_signed_numbers) {
  EXPECT_EQ(shown("calibrationOffset", 26, reply(12).u32(0, INT32_MIN).u32(4, 2).u32(8, INT32_MAX)),
            "'-2147483648 2 2147483647'");
}

TEST_F(SensorTexts, orientation_is_nine_signed_bytes_row_by_row) {
  ReplyBuilder matrix = reply(9);
  for (const int element : {1, 2, 3, 4, 5, 6, 7}) {
    matrix.u8(static_cast<std::size_t>(element), element * (element % 2 == 0 ? -1 : 1));
  }
  EXPECT_EQ(shown("orientationMatrix", 24, matrix.u8(0, 0x80).u8(8, 0x7F)), "'-128 1 -2, 3 -4 5, -6 7 127'");
}

TEST_F(SensorTexts, registers_show_every_other_pair_below_the_count) {
  const std::pair<std::int64_t, std::size_t> counts[] = {{0, 0}, {1, 1}, {2, 1},   {3, 2},
                                                         {4, 2}, {5, 3}, {30, 15}, {31, 16}};
  for (const auto& [count, shown_pairs] : counts) {
    EXPECT_EQ(registers(dump(count)), pairs(shown_pairs)) << count;
  }
}

TEST_F(SensorTexts, registers_end_with_the_buffer_whatever_their_count) {
  for (const std::int64_t count : {32, 33, 34, 1000}) {
    EXPECT_EQ(registers(dump(count)), pairs(16)) << count;
  }
  EXPECT_EQ(registers(dump(0x7FFFFFFF)), pairs(16));
  EXPECT_EQ(registers(dump(0x80000000)), pairs(16));
  EXPECT_EQ(registers(dump(0xFFFFFFFF)), pairs(16));
}

TEST_F(SensorTexts, registers_have_two_hexadecimal_digits_or_as_many_as_they_need) {
  EXPECT_EQ(registers(reply(128).u32(0, 3).u16(4, 0xA).u16(6, 0xFFFF).u16(12, 0x123).u16(14, 0)),
            "'R0a=ffff R123=00 '");
}

TEST_F(SensorTexts, registers_of_the_widest_numbers_are_shown_whole) {
  std::string text;
  for (int pair = 0; pair < 16; ++pair) {
    text += "Rffff=ffff ";
  }
  EXPECT_EQ(registers(reply(128, '\xFF')), "'" + text + "'");
}

TEST_F(SensorTexts, registers_that_did_not_come_are_zero) {
  EXPECT_EQ(registers(Reply{dump(5).bytes().substr(0, 13)}), "'R00=01 R04=00 R00=00 '");
  EXPECT_EQ(registers(Reply{}), "''");
}

TEST_F(SensorTexts, client_shows_its_name_and_four_signed_numbers) {
  EXPECT_EQ(
      client(reply(31, '\xFF').text(0, {"hid\0", 4}).u32(12, 1).u32(16, -2).u32(20, INT32_MAX).u32(24, INT32_MIN)),
      "'hid: report=1 batch=-2 threshold=2147483647 timelimit=-2147483648'");
}

TEST_F(SensorTexts, client_name_ends_at_its_zero_or_at_12_bytes) {
  const std::string rest = ": report=1633771873 batch=0 threshold=0 timelimit=0'";
  EXPECT_EQ(client(reply(31).u32(12, 0x61616161)), "'" + rest);
  EXPECT_EQ(client(reply(31).text(0, "elevenbytes").u32(12, 0x61616161)), "'elevenbytes" + rest);
  EXPECT_EQ(client(reply(31).text(0, "twelve-bytes").u32(12, 0x61616161)), "'twelve-bytes" + rest);
}

}  // namespace
}  // namespace hub::test
