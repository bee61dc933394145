// SPDX-License-Identifier: Apache-2.0
#include "host/figures/summary_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "tests/host/figures/summary_fixture.h"

namespace hub::test {
namespace {

using Json = nlohmann::ordered_json;
using Keys = std::vector<std::string>;

Json json_of(const host::CaptureSummary& summary) { return Json::parse(host::summary_json(summary)); }

Keys keys_of(const Json& object) {
  Keys keys;
  for (const auto& [key, value] : object.items()) {
    keys.push_back(key);
  }
  return keys;
}

TEST(SummaryJson, keys_stand_in_the_order_of_the_format) {
  const Json json = json_of(summary_of({report(0, 1, 0, 5).u32(0, 17), report(7, 3, 0, 3)}));
  EXPECT_EQ(json["format"], "hub-profile-summary/1");
  EXPECT_EQ(keys_of(json), (Keys{"format", "records", "bytes", "per_second", "first_us", "last_us", "span_us", "loss",
                                 "categories", "components", "events", "event_durations", "functions", "presses"}));
  EXPECT_EQ(keys_of(json["events"]["rows"][0]),
            (Keys{"category_id", "category", "component_id", "component", "event_id", "event", "count", "share",
                  "per_second", "first_us", "last_us"}));
  EXPECT_EQ(keys_of(json["functions"]["rows"][0]), (Keys{"layout", "function_id", "count", "min", "p50", "p95", "p99",
                                                         "max", "percentiles_exact", "total", "thread_total"}));
  EXPECT_EQ(keys_of(json["presses"]),
            (Keys{"count", "outcomes", "stray_checkpoints", "backward_latencies", "latencies_us", "listed"}));
}

TEST(SummaryJson, loss_is_what_was_told) {
  host::CaptureSummary summary;
  summary.set_loss({1, 2, 3, 4, 5, UINT64_MAX});
  EXPECT_EQ(json_of(summary)["loss"], (Json{{"gaps", 1},
                                            {"missing_records", 2},
                                            {"duplicates", 3},
                                            {"reordered", 4},
                                            {"clock_backwards", 5},
                                            {"restarts", UINT64_MAX}}));
}

TEST(SummaryJson, name_that_is_no_text_has_its_bytes_besides) {
  const Json json = json_of(summary_of({report(0, 4, 0, 9).text(16, "a\xff")}));
  EXPECT_EQ(json["functions"]["rows"][0]["function"], "a\uFFFD");
  EXPECT_EQ(json["functions"]["rows"][0]["function_bytes"], "61ff");
}

}  // namespace
}  // namespace hub::test
