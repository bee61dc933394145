// SPDX-License-Identifier: Apache-2.0
// Replies as device files state them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "host/device/replies.h"
#include "tests/host/device/device_file_fixture.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::Answer;
using host::AnswerSequence;
using host::Bytes;
using host::Drain;

using ReplyPlanTest = DeviceFileTest;

TEST_F(ReplyPlanTest, hex_is_bytes_whatever_the_blanks_and_capitals) {
  EXPECT_EQ(bytes(R"({ "hex": "00 9f aF FF" })"), bytes_of({0, 0x9F, 0xAF, 0xFF}));
  EXPECT_EQ(bytes(R"({ "hex": " 0 10\t2" })"), bytes_of({1, 2}));
  EXPECT_EQ(bytes(R"({ "hex": "" })"), bytes_of({}));
  EXPECT_EQ(bytes(R"({ "hex": "  " })"), bytes_of({}));
}

TEST_F(ReplyPlanTest, every_other_character_in_hex_is_refused) {
  for (const std::string character : {"/", ":", "@", "G", "`", "g", "-", ",", "x", "\\n", "\\u0000", "é"}) {
    const std::string message = reply_refusal(R"({ "hex": "0)" + character + "\" }");
    const std::string expected = ".hex: expected hexadecimal digits and blanks, found something else at byte 1 of ";
    EXPECT_TRUE(message.starts_with(expected)) << message;
  }
}

TEST_F(ReplyPlanTest, text_is_its_bytes_filled_with_zeros_to_the_size) {
  EXPECT_EQ(bytes(R"({ "text": "AB", "size": 4 })"), bytes_of({'A', 'B', 0, 0}));
  EXPECT_EQ(bytes(R"({ "text": "AB", "size": 2 })"), bytes_of({'A', 'B'}));
  EXPECT_EQ(bytes(R"({ "text": "AB" })"), bytes_of({'A', 'B'}));
  EXPECT_EQ(bytes(R"({ "text": "\u00e9\u0000" })"), bytes_of({0xC3, 0xA9, 0}));
  EXPECT_EQ(bytes(R"({ "size": 0, "text": "" })"), bytes_of({}));
}

TEST_F(ReplyPlanTest, size_of_a_text_has_limits) {
  EXPECT_EQ(bytes(R"({ "text": "", "size": 16777216 })").size(), 16777216U);
  EXPECT_EQ(reply_refusal(R"({ "text": "AB", "size": 1 })"),
            ".size: expected an integer from 2 to 16777216, with a text of 2 bytes, found 1");
  EXPECT_EQ(reply_refusal(R"({ "text": "", "size": 16777217 })"),
            ".size: expected an integer from 0 to 16777216, with a text of 0 bytes, found 16777217");
}

struct IntegerForm {
  std::string key;
  std::string lowest;
  std::string highest;
  Bytes lowest_bytes;
  Bytes highest_bytes;
  std::string below;
  std::string above;
};

Bytes bytes_like(std::size_t width, int low_bytes, int last_byte) {
  Bytes result(width, static_cast<std::byte>(low_bytes));
  result.back() = static_cast<std::byte>(last_byte);
  return result;
}

const std::vector<IntegerForm> kIntegerForms = {
    {"u8", "0", "255", bytes_like(1, 0, 0), bytes_like(1, 0xFF, 0xFF), "-1", "256"},
    {"u16", "0", "65535", bytes_like(2, 0, 0), bytes_like(2, 0xFF, 0xFF), "-1", "65536"},
    {"u32", "0", "4294967295", bytes_like(4, 0, 0), bytes_like(4, 0xFF, 0xFF), "-1", "4294967296"},
    {"u64", "0", "18446744073709551615", bytes_like(8, 0, 0), bytes_like(8, 0xFF, 0xFF), "-1", "18446744073709551616"},
    {"i8", "-128", "127", bytes_like(1, 0, 0x80), bytes_like(1, 0xFF, 0x7F), "-129", "128"},
    {"i16", "-32768", "32767", bytes_like(2, 0, 0x80), bytes_like(2, 0xFF, 0x7F), "-32769", "32768"},
    {"i32", "-2147483648", "2147483647", bytes_like(4, 0, 0x80), bytes_like(4, 0xFF, 0x7F), "-2147483649",
     "2147483648"},
    {"i64", "-9223372036854775808", "9223372036854775807", bytes_like(8, 0, 0x80), bytes_like(8, 0xFF, 0x7F),
     "-9223372036854775809", "9223372036854775808"},
};

TEST_F(ReplyPlanTest, integer_takes_the_limits_of_its_width_and_nothing_beyond) {
  for (const IntegerForm& form : kIntegerForms) {
    const std::string begin = "{ \"" + form.key + "\": ";
    EXPECT_EQ(bytes(begin + form.lowest + " }"), form.lowest_bytes) << form.key;
    EXPECT_EQ(bytes(begin + form.highest + " }"), form.highest_bytes) << form.key;
    for (const std::string& number : {form.below, form.above}) {
      EXPECT_EQ(reply_refusal(begin + number + " }"), "." + form.key + ": expected an integer from " + form.lowest +
                                                          " to " + form.highest + ", found " + number);
    }
  }
}

TEST_F(ReplyPlanTest, integers_are_little_endian_and_packed) {
  EXPECT_EQ(bytes(R"({ "u16": [ 258, 772 ] })"), bytes_of({2, 1, 4, 3}));
  EXPECT_EQ(bytes(R"({ "u32": 16909060 })"), bytes_of({4, 3, 2, 1}));
  EXPECT_EQ(bytes(R"({ "i64": [ 72623859790382856 ] })"), bytes_of({8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(bytes(R"({ "i16": -2 })"), bytes_of({0xFE, 0xFF}));
}

TEST_F(ReplyPlanTest, empty_list_of_numbers_is_no_bytes) {
  for (const std::string key : {"u8", "u16", "u32", "u64", "i8", "i16", "i32", "i64", "fixed"}) {
    EXPECT_EQ(bytes("{ \"" + key + "\": [] }"), bytes_of({})) << key;
  }
}

TEST_F(ReplyPlanTest, fixed_is_16_16_little_endian) {
  EXPECT_EQ(bytes(R"({ "fixed": 1 })"), bytes_of({0, 0, 1, 0}));
  EXPECT_EQ(bytes(R"({ "fixed": [ 1.5, -1.5 ] })"), bytes_of({0, 0x80, 1, 0, 0, 0x80, 0xFE, 0xFF}));
  EXPECT_EQ(bytes(R"({ "fixed": 2.5e2 })"), bytes_of({0, 0, 250, 0}));
}

// 2^-17 is half of the smallest step.
TEST_F(ReplyPlanTest, fixed_is_rounded_to_the_nearest_and_halves_away_from_zero) {
  EXPECT_EQ(bytes(R"({ "fixed": 0.00000762939453125 })"), bytes_of({1, 0, 0, 0}));
  EXPECT_EQ(bytes(R"({ "fixed": -0.00000762939453125 })"), bytes_of({0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(bytes(R"({ "fixed": 0.0000076293945312 })"), bytes_of({0, 0, 0, 0}));
  EXPECT_EQ(bytes(R"({ "fixed": -0.0000076293945312 })"), bytes_of({0, 0, 0, 0}));
  EXPECT_EQ(bytes(R"({ "fixed": 0.00002288818359375 })"), bytes_of({2, 0, 0, 0}));
  EXPECT_EQ(bytes(R"({ "fixed": 0.1 })"), bytes_of({0x9A, 0x19, 0, 0}));
}

TEST_F(ReplyPlanTest, range_of_fixed_is_judged_after_rounding) {
  EXPECT_EQ(bytes(R"({ "fixed": 32767.9999847412109375 })"), bytes_of({0xFF, 0xFF, 0xFF, 0x7F}));
  EXPECT_EQ(bytes(R"({ "fixed": 32767.99999237 })"), bytes_of({0xFF, 0xFF, 0xFF, 0x7F}));
  EXPECT_EQ(bytes(R"({ "fixed": -32768 })"), bytes_of({0, 0, 0, 0x80}));
  EXPECT_EQ(bytes(R"({ "fixed": -32768.0000076 })"), bytes_of({0, 0, 0, 0x80}));
}

TEST_F(ReplyPlanTest, fixed_out_of_range_after_rounding_is_refused) {
  for (const std::string number : {"32767.99999237060546875", "32768", "-32768.00000762939453125", "-32769",
                                   "18446744073709551615", "18446744073709551616", "-9223372036854775809"}) {
    const std::string message = reply_refusal(R"({ "fixed": )" + number + " }");
    const std::string expected =
        ".fixed: expected a number whose nearest 16.16 is from -32768 to 32767.9999847412109375";
    EXPECT_TRUE(message.starts_with(expected + ", found ")) << message;
  }
}

TEST_F(ReplyPlanTest, list_is_its_parts_one_after_the_other) {
  EXPECT_EQ(bytes(R"([ { "u8": 1 }, [ { "hex": "02" }, [], { "text": "A" } ], { "u16": 3 } ])"),
            bytes_of({1, 2, 'A', 3, 0}));
  EXPECT_EQ(bytes("[]"), bytes_of({}));
}

TEST_F(ReplyPlanTest, status_comes_without_bytes) {
  const auto answer = std::get<Answer>(read_reply(R"({ "status": "0xE00002C7" })"));
  EXPECT_EQ(answer.status, -536870201);
  EXPECT_TRUE(answer.bytes.empty());
}

TEST_F(ReplyPlanTest, bytes_come_with_success) { EXPECT_EQ(std::get<Answer>(read_reply(R"({ "u8": 1 })")).status, 0); }

TEST_F(ReplyPlanTest, sequence_holds_bytes_lists_and_statuses_in_order) {
  const auto sequence = std::get<AnswerSequence>(
      read_reply(R"({ "sequence": [ { "u8": 1 }, { "status": -1 }, [ { "u8": 2 }, { "u8": 3 } ] ] })"));
  ASSERT_EQ(sequence.answers.size(), 3U);
  EXPECT_EQ(sequence.answers[0].bytes, bytes_of({1}));
  EXPECT_EQ(sequence.answers[1].status, -1);
  EXPECT_EQ(sequence.answers[2].bytes, bytes_of({2, 3}));
}

TEST_F(ReplyPlanTest, drain_is_a_whole_number_of_units) {
  const auto drain = std::get<Drain>(read_reply(R"({ "drain": [ { "u16": 1 }, { "u32": 2 } ], "unit": 3 })"));
  EXPECT_EQ(drain.bytes, bytes_of({1, 0, 2, 0, 0, 0}));
  EXPECT_EQ(drain.unit_bytes, 3U);
  for (const std::string unit : {"4", "5", "7"}) {
    EXPECT_EQ(reply_refusal(R"({ "drain": { "hex": "010203040506" }, "unit": )" + unit + " }"),
              ": expected a whole number of units of " + unit + " bytes, found 6 bytes");
  }
}

TEST_F(ReplyPlanTest, unit_is_at_least_a_byte) {
  EXPECT_EQ(std::get<Drain>(read_reply(R"({ "drain": { "hex": "0102" }, "unit": 1 })")).unit_bytes, 1U);
  EXPECT_EQ(std::get<Drain>(read_reply(R"({ "drain": [], "unit": 48 })")).bytes, bytes_of({}));
  EXPECT_EQ(reply_refusal(R"({ "drain": [], "unit": 0 })"),
            ".unit: expected an integer from 1 to 9223372036854775807, found 0");
}

// Replies out of files.
class ReplyFileTest : public DeviceFileTest {
 protected:
  // Why a file is refused, behind what was expected.
  [[nodiscard]] std::string file_refusal(const std::string& name) const {
    const std::string message = reply_refusal(R"({ "file": ")" + name + "\" }");
    const std::string prefix = ".file: expected a file in the device file's folder or below, found \"" + name + "\" ";
    EXPECT_EQ(message.substr(0, prefix.size()), prefix);
    return message.substr(std::min(message.size(), prefix.size()));
  }
};

TEST_F(ReplyFileTest, file_gives_its_bytes_from_an_offset_for_a_length) {
  const std::string file = make_file("digits.bin", "0123456789");
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "offset": 2, "length": 3 })"), bytes_of({'2', '3', '4'}));
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "length": 2 })"), bytes_of({'0', '1'}));
  EXPECT_EQ(bytes(R"({ "length": 1, "offset": 9, "file": "digits.bin" })"), bytes_of({'9'}));
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "offset": 8 })"), bytes_of({'8', '9'}));
  EXPECT_EQ(bytes(R"({ "file": "digits.bin" })").size(), 10U);
}

TEST_F(ReplyFileTest, part_may_end_with_the_file_and_be_empty_there) {
  const std::string file = make_file("digits.bin", "0123456789");
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "offset": 10 })"), bytes_of({}));
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "offset": 10, "length": 0 })"), bytes_of({}));
  EXPECT_EQ(bytes(R"({ "file": "digits.bin", "offset": 7, "length": 3 })").size(), 3U);
}

TEST_F(ReplyFileTest, part_beyond_the_end_is_refused) {
  const std::string file = make_file("digits.bin", "0123456789");
  EXPECT_EQ(reply_refusal(R"({ "file": "digits.bin", "offset": 11 })"),
            ".offset: expected an integer from 0 to 10, the file's size, found 11");
  EXPECT_EQ(reply_refusal(R"({ "file": "digits.bin", "offset": 7, "length": 4 })"),
            ".length: expected an integer from 0 to 3, where the file ends, found 4");
}

TEST_F(ReplyFileTest, empty_file_is_no_bytes) {
  const std::string file = make_file("empty.bin", "");
  EXPECT_EQ(bytes(R"({ "file": "empty.bin" })"), bytes_of({}));
}

TEST_F(ReplyFileTest, parts_of_one_file_stand_one_after_the_other) {
  const std::string file = make_file("digits.bin", "0123456789");
  EXPECT_EQ(bytes(R"([ { "file": "digits.bin", "offset": 8 }, { "u8": 1 }, { "file": "digits.bin", "length": 1 } ])"),
            bytes_of({'8', '9', 1, '0'}));
}

TEST_F(ReplyFileTest, file_may_lie_below_and_links_may_lead_there) {
  fs::create_directory(folder_ / "below");
  const std::string file = make_file("below/x.bin", "x");
  fs::create_symlink("below/x.bin", folder_ / "link.bin");
  fs::create_symlink(folder_ / "below", folder_ / "absolute");
  for (const std::string name : {"below/x.bin", "./below//x.bin", "link.bin", "absolute/x.bin"}) {
    EXPECT_EQ(bytes(R"({ "file": ")" + name + "\" }"), bytes_of({'x'})) << name;
  }
}

TEST_F(ReplyFileTest, names_with_dots_that_are_not_the_folder_above_are_names) {
  const std::string file = make_file("..x..", "x");
  EXPECT_EQ(bytes(R"({ "file": "..x.." })"), bytes_of({'x'}));
}

TEST_F(ReplyFileTest, link_that_leads_out_is_refused) {
  fs::create_directory(folder_ / "inside");
  fs::create_directory(folder_ / "inside-not");
  const std::string file = make_file("inside-not/x.bin", "x");
  fs::create_symlink("../inside-not", folder_ / "inside" / "folder");
  fs::create_symlink(folder_ / "inside-not" / "x.bin", folder_ / "inside" / "x.bin");
  folder_ /= "inside";
  EXPECT_EQ(file_refusal("folder/x.bin"), "(a link leads out)");
  EXPECT_EQ(file_refusal("x.bin"), "(a link leads out)");
  folder_ = folder_.parent_path();
}

TEST_F(ReplyFileTest, folder_of_the_device_file_may_itself_be_reached_by_a_link) {
  fs::create_directory(folder_ / "inside");
  const std::string file = make_file("inside/x.bin", "x");
  fs::create_symlink("inside", folder_ / "link");
  const std::string text = make_file("inside/device.json", reply(R"({ "file": "x.bin" })"));
  EXPECT_NO_THROW(host::read_device_file(path("link/device.json")));
}

TEST_F(ReplyFileTest, device_file_without_a_folder_in_its_name_takes_files_beside_it) {
  const std::string file = make_file("x.bin", "x");
  const std::string text = make_file("device.json", reply(R"({ "file": "x.bin" })"));
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  EXPECT_NO_THROW(host::read_device_file("device.json"));
  fs::current_path(before);
}

TEST_F(ReplyFileTest, what_is_no_regular_file_is_refused_without_waiting) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  fs::create_directory(folder_ / "below");
  EXPECT_EQ(file_refusal("pipe"), "(not a regular file)");
  EXPECT_EQ(file_refusal("below"), "(not a regular file)");
  EXPECT_EQ(file_refusal("."), "(not a regular file)");
}

TEST_F(ReplyFileTest, link_to_nothing_and_links_in_a_circle_are_refused) {
  fs::create_symlink("nothing", folder_ / "link");
  fs::create_symlink("circle", folder_ / "circle");
  EXPECT_EQ(file_refusal("link"), "(No such file or directory)");
  EXPECT_EQ(file_refusal("circle"), "(Too many levels of symbolic links)");
}

TEST_F(ReplyFileTest, what_cannot_be_opened_is_refused_with_the_reason) {
  ASSERT_EQ(mknod(path("socket").c_str(), S_IFSOCK | 0600, 0), 0);
  EXPECT_EQ(file_refusal("socket"), "(No such device or address)");
}

}  // namespace
}  // namespace hub::test
