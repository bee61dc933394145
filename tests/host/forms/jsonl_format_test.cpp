// SPDX-License-Identifier: Apache-2.0
#include "host/forms/jsonl_format.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "host/captures/clock_sources.h"
#include "profile/catalogue.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kWorkedLine =
    R"({"format":"hub-profile/1","category":"control","component":"3","event":"5","type":"stop","timestamp":1000,)"
    R"("sequence_num":7,"type-id":0,"category-id":8,"component-id":3,"event-id":5,"payload":{},"binary-data":)"
    R"("0005030807000000e8030000000000000000000000000000000000000000000000000000000000000000000000000000")";

_HubProfileReport worked_report() { return report(8, 3, 5, 0).sequence(7).time_us(1000); }

std::string line_of(const _HubProfileReport& report) {
  host::TextBuffer out;
  EXPECT_TRUE(host::JsonlFormat().append(report, out));
  return std::string(out.view());
}

std::string payload_of(const _HubProfileReport& report) { return Json::parse(line_of(report)).at("payload").dump(); }

class JsonlFormat : public DecodeTest {};

TEST_F(JsonlFormat, record_without_items_has_an_empty_payload_and_no_times) {
  EXPECT_EQ(line_of(worked_report()), std::string(kWorkedLine) + "}\n");
}

TEST_F(JsonlFormat, times_stand_at_the_end_where_they_can_be_had) {
  setenv("TZ", "UTC0", 1);
  host::publish_clock_pair({0, 1'772'612'100'924'970'000});
  host::publish_boot_time({1'772'612'099'000'000});
  EXPECT_EQ(line_of(worked_report()),
            std::string(kWorkedLine) + R"(,"calendar-time":"Mar 04 08:15:00.925970","boot-timestamp":1772612099000000})"
                                       "\n");
  unsetenv("TZ");
}

TEST_F(JsonlFormat, line_is_appended_to_what_is_there_and_nothing_else_is_written) {
  host::JsonlFormat format;
  host::TextBuffer out;
  out += "before\n";
  format.begin(out);
  format.append(worked_report(), out);
  format.end(out);
  EXPECT_EQ(out.view(), std::string("before\n") + kWorkedLine + "}\n");
}

TEST_F(JsonlFormat, line_does_not_depend_on_those_before_it) {
  host::JsonlFormat format;
  host::TextBuffer out;
  format.append(report(2, 0, 9, 8).text(19, "accel"), out);
  out.clear();
  format.append(worked_report(), out);
  EXPECT_EQ(out.view(), std::string(kWorkedLine) + "}\n");
}

TEST_F(JsonlFormat, numbers_of_64_bits_keep_all_their_digits) {
  const std::string line = line_of(report(2, 0, 10, 11).u64(0, ~0ULL).time_us(~0ULL).sequence(~0U));
  EXPECT_NE(line.find(R"("timestamp":18446744073709551615,"sequence_num":4294967295,)"), std::string::npos);
  EXPECT_NE(line.find(R"("global-id":18446744073709551615,)"), std::string::npos);
}

TEST_F(JsonlFormat, subtype_has_its_number_and_its_name_and_each_layout_its_own_member) {
  EXPECT_EQ(payload_of(report(7, 3, 0, 3).u32(0, 5).u32(4, 1).u32(8, 255)),
            R"({"sshb-trace":{"trace":5,"trace-name":"ckp_VossaStartHaptics","thread":1,"arg1":255,"arg2":0,"arg3":0,)"
            R"("arg4":0},"event":{"arg1":5,"arg2":1,"arg3":255,"arg4":0,"arg5":0,"arg6":0,"xarg1":"5","xarg2":"1",)"
            R"("xarg3":"ff","xarg4":"0","xarg5":"0","xarg6":"0"}})");
}

TEST_F(JsonlFormat, layout_that_the_line_shows_twice_stands_once) {
  const std::string line = line_of(report(7, 0, 0, 2).u16(0, 9));
  const std::size_t first = line.find("\"short-data\":{\"subtype\":9,\"packet-size\":30,");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(line.find("\"short-data\"", first + 1), std::string::npos);
}

TEST_F(JsonlFormat, fractions_are_numbers) {
  const auto vector = report(4, 0, 1, 3).u32(0, 0x1800).u32(4, 0x80000000).u32(8, 1);
  const std::string line = line_of(vector);
  EXPECT_NE(line.find(R"("x":1.5,"y":-524288,"z":0.000244140625})"), std::string::npos) << line;
}

TEST_F(JsonlFormat, bytes_are_those_in_use) {
  EXPECT_EQ(
      payload_of(report(8, 0, 0, 1).count_up().u16(4, 3)),
      R"({"long-data":{"subtype":256,"packet-size":770,"data-length":3,"data-offset":1798,"raw-data":"08090a"}})");
}

TEST_F(JsonlFormat, text_is_escaped) {
  const std::string line = line_of(report(2, 0, 9, 8).text(19, "a\"\n\u0085\u00E9"));
  EXPECT_NE(line.find("\"name\":\"a\\\"\\n\\u0085\u00E9\",\"report-interval\""), std::string::npos) << line;
}

TEST_F(JsonlFormat, text_that_is_not_utf8_stays_readable_and_has_its_bytes_behind_it) {
  const std::string line = line_of(report(2, 0, 9, 8).text(19, "a\xFF\xC3z"));
  EXPECT_NE(line.find("\"name\":\"a\uFFFD\uFFFDz\",\"name-bytes\":\"61ffc37a\",\"report-interval\""), std::string::npos)
      << line;
}

TEST_F(JsonlFormat, every_layout_is_an_object_with_its_rows_in_order) {
  const _HubProfileReport status = report(7, 0, 3, 2).u8(10, 200).u32(12, 70000);
  const Json payload = Json::parse(line_of(status)).at("payload");
  std::vector<std::string> keys;
  for (const auto& item : payload.at("sshb-status-event").items()) {
    keys.push_back(item.key());
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"status-timestamp", "fingerState", "buttonState", "buttonProgress",
                                            "clickCount", "clickCountIsTerminal", "clickIsLong", "clickSpeed"}));
  EXPECT_EQ(payload.at("sshb-status-event").at("buttonProgress"), 70000);
  EXPECT_TRUE(payload.contains("short-data"));
}

// Keys are written without a look at their characters, and KEY-name and KEY-bytes beside them.
TEST(JsonlKeys, are_plain_and_no_two_members_of_an_object_can_have_the_same) {
  for (const profile::Layout* layout : profile::kLayouts) {
    std::set<std::string> keys;
    for (const profile::Field& field : layout->fields) {
      for (const std::string suffix : {"", "-name", "-bytes"}) {
        EXPECT_TRUE(keys.insert(std::string(field.key) + suffix).second)
            << layout->name << "." << field.key.view() << suffix;
      }
      EXPECT_TRUE(std::all_of(field.key.view().begin(), field.key.view().end(), [](char letter) {
        return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
      })) << field.key.view();
    }
  }
}

}  // namespace
}  // namespace hub::test
