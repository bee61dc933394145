// SPDX-License-Identifier: Apache-2.0
#include "host/session/ledger_report.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

namespace hub::test {
namespace {

using host::ledger_json;
using host::ledger_text;
using platform::LedgerContents;

const LedgerContents kNothing;
const LedgerContents kContents = {
    {{"presses", 12}, {"long.name.of.a.scalar", std::numeric_limits<std::int64_t>::min()}},
    {{"latency", {1000, -0.1, 2.5, 3}}, {"b", {1, 4, 4, 4}}}};

TEST(LedgerText, columns_are_aligned_below_their_headings) {
  EXPECT_EQ(ledger_text(kContents),
            "scalar                                value\n"
            "long.name.of.a.scalar  -9223372036854775808\n"
            "presses                                  12\n"
            "\n"
            "distribution  count   min  mean  max\n"
            "b                 1     4     4    4\n"
            "latency        1000  -0.1   2.5    3\n");
}

TEST(LedgerText, says_so_when_there_is_nothing) {
  EXPECT_EQ(ledger_text(kNothing), "no scalars\n\nno distributions\n");
}

TEST(LedgerText, scalars_alone_and_distributions_alone) {
  EXPECT_EQ(ledger_text({{{"a", 1}}, {}}),
            "scalar  value\n"
            "a           1\n"
            "\n"
            "no distributions\n");
  EXPECT_EQ(ledger_text({{}, {{"a", {1, 2, 2, 2}}}}),
            "no scalars\n"
            "\n"
            "distribution  count  min  mean  max\n"
            "a                 1    2     2    2\n");
}

TEST(LedgerText, numbers_are_the_shortest_that_are_exact) {
  EXPECT_EQ(ledger_text({{}, {{"a", {3, -DBL_MAX, 0.1 + 0.2, 1e300}}}}),
            "no scalars\n"
            "\n"
            "distribution  count                       min                 mean     max\n"
            "a                 3  -1.7976931348623157e+308  0.30000000000000004  1e+300\n");
}

TEST(LedgerText, width_counts_characters_and_not_bytes) {
  EXPECT_EQ(ledger_text({{{"d\u00fcse\u20ac\U0001D11E", 1}, {"letters", 2}}, {}}),
            "scalar   value\n"
            "d\u00fcse\u20ac\U0001D11E       1\n"
            "letters      2\n"
            "\n"
            "no distributions\n");
}

TEST(LedgerText, control_characters_of_a_key_are_shown_in_hex) {
  EXPECT_EQ(ledger_text({{{std::string("a\n\x1b\x7f\0b", 6), 1}}, {}}),
            "scalar              value\n"
            "a\\x0a\\x1b\\x7f\\x00b      1\n"
            "\n"
            "no distributions\n");
}

TEST(LedgerJson, stands_in_the_order_and_under_the_names_of_its_format) {
  EXPECT_EQ(ledger_json(kContents), R"({
  "format": "hub-ledger/1",
  "scalars": {
    "long.name.of.a.scalar": -9223372036854775808,
    "presses": 12
  },
  "distributions": {
    "b": {
      "count": 1,
      "min": 4.0,
      "mean": 4.0,
      "max": 4.0
    },
    "latency": {
      "count": 1000,
      "min": -0.1,
      "mean": 2.5,
      "max": 3.0
    }
  }
}
)");
}

TEST(LedgerJson, nothing_gives_empty_objects) {
  EXPECT_EQ(ledger_json(kNothing), R"({
  "format": "hub-ledger/1",
  "scalars": {},
  "distributions": {}
}
)");
}

TEST(LedgerJson, numbers_come_back_as_they_were) {
  const auto json = nlohmann::json::parse(ledger_json(
      {{{"high", std::numeric_limits<std::int64_t>::max()}}, {{"a", {3, DBL_TRUE_MIN, 0.1 + 0.2, DBL_MAX}}}}));
  EXPECT_EQ(json["scalars"]["high"].get<std::int64_t>(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(json["distributions"]["a"]["min"].get<double>(), DBL_TRUE_MIN);
  EXPECT_EQ(json["distributions"]["a"]["mean"].get<double>(), 0.1 + 0.2);
  EXPECT_EQ(json["distributions"]["a"]["max"].get<double>(), DBL_MAX);
}

TEST(LedgerJson, every_key_makes_valid_text) {
  for (const std::string key : {"", "\"quoted\\\"", "line\nend", "d\u00fcse"}) {
    const auto json = nlohmann::json::parse(ledger_json({{{key, 1}}, {{key, {1, 2, 2, 2}}}}));
    EXPECT_EQ(json["scalars"], (nlohmann::json{{key, 1}}));
    EXPECT_EQ(json["distributions"][key]["count"], 1);
  }
  EXPECT_EQ(nlohmann::json::parse(ledger_json({{{"\xFF", 1}}, {}}))["scalars"], (nlohmann::json{{"\uFFFD", 1}}));
}

}  // namespace
}  // namespace hub::test
