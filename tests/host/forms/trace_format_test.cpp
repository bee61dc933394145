// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_format.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/forms/trace_arguments.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;
using nlohmann::json;

// The firmware's functions: of a thread; and external ones.
ReportBuilder function(unsigned thread, std::uint64_t timestamp, unsigned duration, unsigned id = 17) {
  return report(0, 1, 0, 5).u32(0, id).u32(8, thread).u32(12, duration).time_us(timestamp);
}
ReportBuilder external(std::string_view name, std::uint64_t timestamp, unsigned duration) {
  return report(0, 4, 0, 9).u32(0, 1).u32(4, 2).u32(8, duration).text(16, name).time_us(timestamp);
}
ReportBuilder point(std::uint64_t timestamp) { return report(0, 0, 1, 3).time_us(timestamp); }

class TraceFormatTest : public ::testing::Test {
 protected:
  void append(const _HubProfileReport& sample) { EXPECT_TRUE(format_.append(sample, text_)); }

  // The finished text.
  std::string text() {
    TextBuffer whole;
    format_.begin(whole);
    whole += text_.view();
    format_.end(whole);
    return std::string(whole.view());
  }

  // The finished trace's events of a phase.
  std::vector<json> events(const std::string& phase) {
    std::vector<json> found;
    const json trace = json::parse(text());
    for (const json& event : trace["traceEvents"]) {
      if (event["ph"] == phase) {
        found.push_back(event);
      }
    }
    return found;
  }

  // "name ts+dur on thread" of each slice.
  std::vector<std::string> slices() {
    std::vector<std::string> found;
    for (const json& event : events("X")) {
      found.push_back(event["name"].get<std::string>() + " " + event["ts"].dump() + "+" + event["dur"].dump() + " on " +
                      event["tid"].dump());
    }
    return found;
  }

  // "process_name exec", "thread_name scheduler" in the order of the trace.
  std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const json& event : events("M")) {
      found.push_back(event["name"].get<std::string>() + " " + event["args"]["name"].get<std::string>());
    }
    return found;
  }

 private:
  TraceFormat format_;
  TextBuffer text_;
};

using Texts = std::vector<std::string>;

TEST_F(TraceFormatTest, trace_without_records_is_whole) {
  const json trace = json::parse(text());
  EXPECT_EQ(trace["displayTimeUnit"], "ms");
  EXPECT_EQ(trace["otherData"]["format"], "hub-profile-trace/1");
  EXPECT_EQ(trace["traceEvents"], json::array());
}

TEST_F(TraceFormatTest, event_stands_whole_on_a_line) {
  append(function(5, 900, 44, 31).u32(4, 3).u32(16, 2).u32(20, 40).sequence(7));
  EXPECT_EQ(
      text(),
      R"({"displayTimeUnit":"ms","otherData":{"format":"hub-profile-trace/1"},"traceEvents":[)"
      "\n"
      R"({"name":"process_name","ph":"M","pid":1,"tid":1001,"args":{"name":"exec"}},)"
      "\n"
      R"({"name":"thread_name","ph":"M","pid":1,"tid":1001,"args":{"name":"function thread 5"}},)"
      "\n"
      R"({"name":"function 31","cat":"exec","ph":"X","ts":0,"dur":44,"pid":1,"tid":1001,"args":{"timestamp":900,)"
      R"("sequence_num":7,"type-id":5,"category-id":0,"component-id":1,"event-id":0,"function":{"function-id":31,)"
      R"("extra-id":3,"thread-id":5,"duration":44,"depth":2,"thread_duration":40}}})"
      "\n]}\n");
}

TEST_F(TraceFormatTest, processes_and_threads_are_named_once_before_their_first_use) {
  append(point(10));
  append(point(20));
  append(function(5, 30, 1));
  append(report(7, 3, 0, 4).time_us(40));
  append(report(40, 9, 0, 0).time_us(50));
  EXPECT_EQ(names(), (Texts{"process_name exec", "thread_name scheduler", "thread_name function thread 5",
                            "process_name sshb", "thread_name latency", "process_name 40", "thread_name 9"}));
}

TEST_F(TraceFormatTest, other_records_are_instants_and_slices_of_a_microsecond) {
  append(point(10));
  append(point(35));
  EXPECT_EQ(slices(), (Texts{"prevent-nap 0+1 on 1", "prevent-nap 25+1 on 1"}));
  const json instant = events("i").at(1);
  EXPECT_EQ(instant["s"], "t");
  EXPECT_EQ(instant["ts"], 25);
  EXPECT_EQ(instant["tid"], 1);
  EXPECT_EQ(instant["args"], events("X").at(1)["args"]);
}

TEST_F(TraceFormatTest, more_points_at_one_time_than_viewers_can_stack_are_instants_alone) {
  for (unsigned count = 0; count < TraceTracks::kMostPointsAtOnce + 3; ++count) {
    append(point(10));
  }
  EXPECT_EQ(events("i").size(), TraceTracks::kMostPointsAtOnce + 3);
  EXPECT_EQ(events("X").size(), TraceTracks::kMostPointsAtOnce);
}

TEST_F(TraceFormatTest, function_ends_at_its_stamp_and_encloses_those_before) {
  append(point(100));
  append(function(5, 150, 20, 1));
  append(function(5, 160, 45, 2));
  append(function(6, 170, 45, 3));
  EXPECT_EQ(slices(), (Texts{"prevent-nap 0+1 on 1", "function 1 30+20 on 1001", "function 2 15+45 on 1001",
                             "function 3 25+45 on 1002"}));
}

TEST_F(TraceFormatTest, depth_keeps_a_function_of_many_calls_on_its_lane) {
  append(function(5, 1000, 100).u32(16, 1));
  for (unsigned call = 0; call < 2 * SliceLane::kMostPieces; ++call) {
    append(function(5, 1020 + 30 * call, 10).u32(16, 2));
  }
  append(function(5, 20'000, 18'995).u32(16, 1));
  EXPECT_EQ(slices().back(), "function 17 105+18995 on 1001");
}

TEST_F(TraceFormatTest, functions_that_overlap_are_on_lanes_of_their_own) {
  append(function(5, 100, 50));
  append(function(5, 120, 50));
  append(function(5, 140, 20));
  EXPECT_EQ(slices(), (Texts{"function 17 0+50 on 1001", "function 17 20+50 on 1002", "function 17 70+20 on 1001"}));
  EXPECT_EQ(names().back(), "thread_name function thread 5 #2");
}

TEST_F(TraceFormatTest, function_of_no_duration_is_a_microsecond_long) {
  append(point(100));
  append(function(5, 150, 0));
  append(function(5, 160, 20));
  EXPECT_EQ(slices().at(1), "function 17 50+1 on 1001");
  EXPECT_EQ(slices().at(2), "function 17 40+20 on 1001");
  EXPECT_EQ(events("X").at(1)["args"]["function"]["duration"], 0);
}

TEST_F(TraceFormatTest, function_without_a_lane_is_an_instant_on_its_component) {
  for (unsigned count = 0; count < 2 + TraceTracks::kMostLanesOfAThread; ++count) {
    append(function(5, 1000 + count, 500));
  }
  EXPECT_EQ(events("X").size(), TraceTracks::kMostLanesOfAThread);
  ASSERT_EQ(events("i").size(), 2U);
  EXPECT_EQ(events("i")[0]["tid"], 2);
  EXPECT_EQ(events("i")[0]["args"]["function"]["duration"], 500);
  EXPECT_EQ(names().back(), "thread_name function");
}

TEST_F(TraceFormatTest, external_function_has_its_own_name_and_its_task) {
  append(external("hub_boot", 100, 30));
  append(external("", 200, 30));
  EXPECT_EQ(slices(), (Texts{"hub_boot 0+30 on 1001", "extfunction 100+30 on 1001"}));
  EXPECT_EQ(names().back(), "thread_name extfunction task 1 thread 2");
}

TEST_F(TraceFormatTest, function_layout_counts_in_every_category) {
  append(report(7, 2, 1, 5).u32(0, 8).u32(8, 3).u32(12, 25));
  EXPECT_EQ(slices(), Texts{"context 8 0+25 on 1001"});
  EXPECT_EQ(names().back(), "thread_name amp thread 3");
}

TEST_F(TraceFormatTest, trace_point_has_its_subtype_for_a_name) {
  append(report(7, 0, 0, 3).u32(0, 50));
  EXPECT_EQ(slices(), Texts{"PlayAssetBegin 0+1 on 1"});
  EXPECT_EQ(events("X")[0]["args"]["sshb-trace"]["trace"], 50);
  EXPECT_EQ(events("X")[0]["args"]["sshb-trace"]["trace-name"], "PlayAssetBegin");
  EXPECT_EQ(events("X")[0]["args"]["event"]["arg1"], 50);
}

TEST_F(TraceFormatTest, name_that_is_no_text_is_replaced_and_its_bytes_are_kept) {
  append(external("a\xFF\"\n", 100, 30));
  const json slice = events("X").at(0);
  EXPECT_EQ(slice["name"], "a\uFFFD\"\n");
  EXPECT_EQ(slice["args"]["extfunction"]["function"], "a\uFFFD\"\n");
  EXPECT_EQ(slice["args"]["extfunction"]["function-bytes"], "61ff220a");
}

std::string arguments_text(const _HubProfileReport& sample) {
  TextBuffer text;
  append_record_arguments(text, sample);
  return std::string(text.view());
}

json arguments(const _HubProfileReport& sample) { return json::parse(arguments_text(sample)); }

TEST(RecordArguments, layout_that_is_shown_twice_stands_once) {
  const std::string text = arguments_text(report(7, 0, 0, 2).u16(0, 5));
  EXPECT_EQ(text.find("short-data"), text.rfind("short-data"));
  EXPECT_EQ(json::parse(text)["short-data"]["subtype"], 5);
}

TEST(RecordArguments, record_without_items_has_its_ids) {
  const json ids = {{"sequence_num", 9}, {"timestamp", 8}, {"category-id", 40},
                    {"component-id", 3}, {"event-id", 2},  {"type-id", 200}};
  EXPECT_EQ(arguments(report(40, 3, 2, 200).sequence(9).time_us(8)), ids);
}

TEST(RecordArguments, integers_beyond_what_readers_keep_are_strings) {
  EXPECT_EQ(arguments(report(0, 0, 0, 0).time_us((1ULL << 53U) - 1))["timestamp"], 9007199254740991);
  EXPECT_EQ(arguments(report(0, 0, 0, 0).time_us(1ULL << 53U))["timestamp"], "9007199254740992");
  EXPECT_EQ(arguments(report(0, 0, 0, 11).fill(0xFF))["annotation"]["global-id"], "18446744073709551615");
}

TEST(RecordArguments, every_form_has_its_type) {
  const json event = arguments(report(0, 0, 0, 3).u32(0, 0xAB))["event"];
  EXPECT_EQ(event["arg1"], 0xAB);
  EXPECT_EQ(event["xarg1"], "ab");
  EXPECT_EQ(arguments(report(4, 0, 0, 3).u32(0, 0xFFFFF000))["cumulus-data-in"]["x"], -0.0625);
  EXPECT_EQ(arguments(report(0, 0, 0, 1).u16(4, 2).u8(8, 0xC).u8(9, 0xFE))["long-data"]["raw-data"], "0cfe");
  EXPECT_EQ(arguments(report(0, 0, 0, 2))["short-data"]["packet-size"], 30);
}

}  // namespace
}  // namespace hub::test
