// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/figures/comparison_json.h"
#include "host/figures/comparison_text.h"
#include "tests/host/figures/summary_fixture.h"

namespace hub::test {
namespace {

using namespace hub::host;
using Json = nlohmann::ordered_json;

_HubProfileReport event(unsigned category, std::uint64_t time_us) { return report(category, 0, 0, 3).time_us(time_us); }

_HubProfileReport function(std::uint64_t function_id, std::uint64_t duration) {
  return report(0, 1, 0, 5).u32(0, function_id).u32(12, duration);
}

CaptureSummary many_functions(std::uint64_t first_id) {
  CaptureSummary summary;
  for (std::uint64_t function_id = first_id; function_id < first_id + 1100; ++function_id) {
    summary.see(function(function_id, 1));
  }
  return summary;
}

std::string text_of(const CaptureSummary& a, const CaptureSummary& b, std::size_t width = 80) {
  return comparison_text({"a.bin", a}, {"b.bin", b}, width);
}

Json json_of(const CaptureSummary& a, const CaptureSummary& b) {
  return Json::parse(comparison_json({"a.bin", a}, {"b.bin", b}));
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

Json change(Json a, Json b, Json difference, Json percent) {
  return {
      {"a", std::move(a)}, {"b", std::move(b)}, {"difference", std::move(difference)}, {"percent", std::move(percent)}};
}

// The names of a table's rows, in their order.
std::vector<std::string> names(const Json& table, const char* key) {
  std::vector<std::string> found;
  for (const Json& row : table["rows"]) {
    found.push_back(row[key].is_string() ? row[key].get<std::string>() : row[key].dump());
  }
  return found;
}

// The example as a whole, with the loss that its listing tells of, beside its second half.
std::string example_text(std::size_t width) {
  CaptureSummary whole = example_summary();
  whole.set_loss({.gaps = 1, .missing_records = 37});
  const CaptureSummary half = example_summary(500'000);
  return comparison_text({"whole", whole}, {"second half", half}, width);
}

TEST(ComparisonText, example_captures_look_as_shown_at_each_width) {
  for (const std::size_t width : {40U, 80U, 120U}) {
    EXPECT_EQ(example_text(width), expected_text("comparison", width)) << width;
  }
}

TEST(ComparisonText, no_line_is_wider_than_the_terminal_or_ends_with_a_blank) {
  for (std::size_t width = 40; width <= 250; width += 5) {
    const std::string text = example_text(width);
    EXPECT_LE(longest_line(text), width);
    EXPECT_FALSE(has(text, " \n"));
  }
}

TEST(ComparisonText, captures_without_a_record_have_nothing_to_compare) {
  EXPECT_EQ(text_of(CaptureSummary(), CaptureSummary()),
            "A  a.bin\n"
            "B  b.bin\n"
            "\n"
            "capture    A  B  B-A     %\n"
            "records    0  0    0  0.0%\n"
            "bytes      0  0    0  0.0%\n"
            "first (s)  -  -    -     -\n"
            "last (s)   -  -    -     -\n"
            "span (s)   -  -    -     -\n"
            "records/s  -  -    -     -\n"
            "\n"
            "no loss known\n");
}

TEST(ComparisonText, rows_are_counts_where_a_rate_is_not_known) {
  const std::string text = text_of(summary_of({event(1, 5)}), summary_of({event(1, 5), event(1, 5), event(2, 5)}), 60);
  EXPECT_TRUE(has(text,
                  "category, count  A  B        %  per s A  per s B  per s %\n"
                  "trace            1  2  +100.0%        -        -        -\n"
                  "sensor           0  1   only B        -        -        -\n"));
}

TEST(ComparisonText, row_that_may_be_among_the_others_is_not_said_to_be_missing) {
  const std::string text = text_of(many_functions(0), many_functions(50));
  EXPECT_TRUE(has(text, "function 0        1   -  only A?"));
  EXPECT_TRUE(has(text, "\nonly A?, only B?: the other capture may have it among its (others).\n"));
}

TEST(ComparisonText, others_are_shown_and_not_compared) {
  EXPECT_TRUE(
      has(text_of(many_functions(0), many_functions(50)), "(others)         76  76        -      1      1      -"));
}

TEST(ComparisonText, large_changes_end_at_9999_percent) {
  EXPECT_TRUE(has(text_of(summary_of({function(1, 1)}), summary_of({function(1, 10'000)})), "  1  10000  >9999%  "));
}

TEST(ComparisonText, names_of_captures_are_escaped_and_shortened) {
  const CaptureSummary nothing;
  const std::string text =
      comparison_text({"a\nb", nothing}, {"captures/of/a/folder/with/a/long/name.bin", nothing}, 40);
  EXPECT_TRUE(text.starts_with("A  a\\x0ab\nB  captures/of..der/with/a/long/name.bin\n")) << text;
}

TEST(ComparisonJson, figures_stand_beside_each_other_with_their_difference) {
  const Json json = json_of(summary_of({event(1, 0), event(1, 2'000'000)}),
                            summary_of({event(1, 0), event(1, 0), event(1, 1'000'000)}));
  EXPECT_EQ(json["format"], "hub-profile-comparison/1");
  EXPECT_EQ(json["names"], (Json{{"a", "a.bin"}, {"b", "b.bin"}}));
  EXPECT_EQ(json["records"], change(2, 3, 1, 50.0));
  EXPECT_EQ(json["span_us"], change(2'000'000, 1'000'000, -1'000'000, -50.0));
  EXPECT_EQ(json["last_us"], (Json{{"a", 2'000'000}, {"b", 1'000'000}, {"difference", -1'000'000}}));
  EXPECT_EQ(json["categories"]["rows"][0]["per_second"], change(1.0, 3.0, 2.0, 200.0));
  EXPECT_EQ(json["categories"]["rows"][0]["in"], "both");
}

TEST(ComparisonJson, row_of_one_capture_counts_zero_in_the_other) {
  const Json json = json_of(summary_of({function(1, 7)}), summary_of({function(2, 5)}));
  EXPECT_EQ(names(json["functions"], "function_id"), (std::vector<std::string>{"1", "2"}));
  const Json& only_b = json["functions"]["rows"][1];
  EXPECT_EQ(only_b["in"], "b");
  EXPECT_EQ(only_b["uncertain"], false);
  EXPECT_EQ(only_b["count"], change(0, 1, 1, nullptr));
  EXPECT_EQ(only_b["p95"], change(nullptr, 5, nullptr, nullptr));
}

TEST(ComparisonJson, row_that_may_be_among_the_others_has_no_count) {
  const Json json = json_of(summary_of({function(5000, 7)}), many_functions(0));
  const Json& first = json["functions"]["rows"][0];
  EXPECT_EQ(first["function_id"], 5000);
  EXPECT_EQ(first["uncertain"], true);
  EXPECT_EQ(first["count"], change(1, nullptr, nullptr, nullptr));
  EXPECT_EQ(json["functions"]["others"], (Json{{"a", 0}, {"b", 76}}));
}

TEST(ComparisonJson, rows_that_changed_most_per_second_come_first) {
  // The second capture is twice as long: category 2 keeps its rate, category 1 loses half of it.
  const Json json = json_of(
      summary_of({event(1, 0), event(2, 0), event(2, 0), event(2, 1'000'000)}),
      summary_of({event(1, 0), event(2, 0), event(2, 0), event(2, 0), event(2, 0), event(2, 0), event(2, 2'000'000)}));
  EXPECT_EQ(names(json["categories"], "category"), (std::vector<std::string>{"trace", "sensor"}));
}

TEST(ComparisonJson, differences_are_exact_as_far_as_64_bits_go) {
  const Json json = json_of(summary_of({event(1, 0)}), summary_of({event(1, UINT64_MAX)}));
  EXPECT_EQ(json["first_us"]["difference"].get<std::uint64_t>(), UINT64_MAX);
  const Json reverse = json_of(summary_of({event(1, UINT64_MAX)}), summary_of({event(1, 0)}));
  EXPECT_EQ(reverse["first_us"]["difference"].get<double>(), -18446744073709551616.0);
  const Json half = json_of(summary_of({event(1, INT64_MAX)}), summary_of({event(1, 0)}));
  EXPECT_EQ(half["first_us"]["difference"].get<std::int64_t>(), -INT64_MAX);
}

TEST(ComparisonJson, loss_and_presses_are_compared) {
  CaptureSummary a = summary_of({report(7, 3, 0, 3), report(7, 3, 2, 3).time_us(10)});
  CaptureSummary b = summary_of({report(7, 3, 0, 3), report(7, 3, 2, 3).time_us(15), report(7, 3, 7, 3).time_us(20)});
  a.set_loss({.gaps = 4});
  const Json json = json_of(a, b);
  EXPECT_EQ(json["loss"]["gaps"], change(4, 0, -4, -100.0));
  EXPECT_EQ(json["presses"]["complete"], change(0, 1, 1, nullptr));
  EXPECT_EQ(json["presses"]["no_haptics"], change(1, 0, -1, -100.0));
  EXPECT_EQ(json["presses"]["latencies_us"]["finger_to_button"]["p50"], change(10, 15, 5, 50.0));
}

}  // namespace
}  // namespace hub::test
