// SPDX-License-Identifier: Apache-2.0
#include "host/session/snapshot_text.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace hub::test {
namespace {

using host::Snapshot;
using host::snapshot_json;
using host::snapshot_text;
using platform::PropertyListArray;
using platform::PropertyListDictionary;
using platform::PropertyListValue;

PropertyListValue integer(std::int64_t value) { return {value}; }
PropertyListValue text(const std::string& value) { return {value}; }
PropertyListValue array(PropertyListArray values) { return {std::move(values)}; }
PropertyListValue dictionary(PropertyListDictionary pairs) { return {std::move(pairs)}; }

// Bytes 0, 1, 2 ...
PropertyListValue data(std::size_t count) {
  std::vector<std::byte> bytes;
  for (std::size_t value = 0; value < count; ++value) {
    bytes.push_back(static_cast<std::byte>(value));
  }
  return {bytes};
}

// The text below the title "T".
std::string contents_text(PropertyListValue contents) {
  const std::string whole = snapshot_text({"T", std::move(contents)});
  EXPECT_TRUE(whole.starts_with("T\n"));
  return whole.substr(2);
}

std::string contents_json(PropertyListValue contents) {
  return nlohmann::ordered_json::parse(snapshot_json({"T", std::move(contents)}))["contents"].dump();
}

TEST(SnapshotText, keys_are_aligned_below_the_title_in_their_order) {
  EXPECT_EQ(snapshot_text({"SensorInfo", dictionary({{"name", text("accel")},
                                                     {"sample rate", integer(-100)},
                                                     {"on", {true}},
                                                     {"off", {false}},
                                                     {"scale", {0.5}}})}),
            "SensorInfo\n"
            "  name         accel\n"
            "  sample rate  -100\n"
            "  on           true\n"
            "  off          false\n"
            "  scale        0.5\n");
}

TEST(SnapshotText, dictionaries_inside_are_indented_and_aligned_for_themselves) {
  EXPECT_EQ(contents_text(dictionary({{"a", integer(1)},
                                      {"timesync", dictionary({{"hub", integer(2)}, {"calendar", integer(3)}})},
                                      {"b", integer(4)}})),
            "  a         1\n"
            "  timesync\n"
            "    hub       2\n"
            "    calendar  3\n"
            "  b         4\n");
}

TEST(SnapshotText, an_array_stands_one_value_a_line) {
  EXPECT_EQ(contents_text(array({text("{  'category':'a' }"), text("{  'category':'b' }")})),
            "  {  'category':'a' }\n"
            "  {  'category':'b' }\n");
  EXPECT_EQ(contents_text(dictionary({{"reports", array({text("one"), integer(2)})}})),
            "  reports\n"
            "    one\n"
            "    2\n");
}

TEST(SnapshotText, an_array_of_collections_is_numbered) {
  EXPECT_EQ(contents_text(array({dictionary({{"x", integer(1)}}), integer(2), array({integer(3)})})),
            "  [0]\n"
            "    x  1\n"
            "  [1]  2\n"
            "  [2]\n"
            "    3\n");
}

TEST(SnapshotText, data_is_in_hex_sixteen_bytes_a_line) {
  EXPECT_EQ(contents_text(dictionary({{"d", data(16)}})), "  d  00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n");
  EXPECT_EQ(contents_text(dictionary({{"d", data(17)}})),
            "  d\n"
            "    00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n"
            "    10\n");
}

TEST(SnapshotText, a_single_value_stands_alone) {
  EXPECT_EQ(contents_text(integer(7)), "  7\n");
  EXPECT_EQ(contents_text(data(2)), "  00 01\n");
}

TEST(SnapshotText, says_where_there_is_nothing) {
  EXPECT_EQ(snapshot_text({"", dictionary({})}), "(empty)\n  (empty)\n");
  EXPECT_EQ(contents_text(
                dictionary({{"", text("")}, {"data", data(0)}, {"array", array({})}, {"dictionary", dictionary({})}})),
            "  (empty)     (empty)\n"
            "  data        (empty)\n"
            "  array       (empty)\n"
            "  dictionary  (empty)\n");
  EXPECT_EQ(contents_text(array({})), "  (empty)\n");
}

TEST(SnapshotText, numbers_are_the_shortest_that_are_exact) {
  EXPECT_EQ(contents_text(array({integer(std::numeric_limits<std::int64_t>::min()), {0.1 + 0.2}, {-HUGE_VAL}, {NAN}})),
            "  -9223372036854775808\n"
            "  0.30000000000000004\n"
            "  -inf\n"
            "  nan\n");
}

TEST(SnapshotText, what_would_upset_a_terminal_is_shown_in_hex) {
  EXPECT_EQ(snapshot_text({"a\x1b\xff", dictionary({{"k\n", text("\x7f\u009b")}, {"d\u00fcse", integer(1)}})}),
            "a\\x1b\\xff\n"
            "  k\\x0a  \\x7f\\xc2\\x9b\n"
            "  d\u00fcse   1\n");
}

TEST(SnapshotJson, stands_in_the_order_and_under_the_names_of_its_format) {
  EXPECT_EQ(snapshot_json({"SensorInfo", dictionary({{"name", text("accel")}, {"bytes", data(3)}})}),
            R"({
  "format": "hub-snapshot/1",
  "title": "SensorInfo",
  "contents": {
    "name": "accel",
    "bytes": {
      "data": "000102"
    }
  }
}
)");
}

TEST(SnapshotJson, has_values_as_json_has_them) {
  EXPECT_EQ(contents_json(array({{true}, {false}, integer(-1), {1.0}, text("\u20ac\n"), array({}), dictionary({})})),
            "[true,false,-1,1.0,\"\u20ac\\n\",[],{}]");
  EXPECT_EQ(contents_json(dictionary({{"z", integer(1)}, {"a", array({integer(2)})}, {"", text("")}})),
            R"({"z":1,"a":[2],"":""})");
  EXPECT_EQ(contents_json(array({data(0), data(2)})), R"([{"data":""},{"data":"0001"}])");
}

TEST(SnapshotJson, an_array_of_one_or_two_texts_stays_an_array) {
  EXPECT_EQ(contents_json(array({array({text("a")}), array({text("a"), text("b")})})), R"([["a"],["a","b"]])");
}

TEST(SnapshotJson, numbers_come_back_as_they_were) {
  for (const double real : {DBL_TRUE_MIN, 0.1 + 0.2, DBL_MAX, -0.0, 1e15, 123456789012345680.0}) {
    const auto json = nlohmann::json::parse(snapshot_json({"T", {real}}))["contents"];
    EXPECT_TRUE(json.is_number_float()) << real;
    EXPECT_EQ(json.get<double>(), real);
    EXPECT_EQ(std::signbit(json.get<double>()), std::signbit(real));
  }
  for (const std::int64_t value :
       {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    const auto json = nlohmann::json::parse(snapshot_json({"T", integer(value)}))["contents"];
    EXPECT_EQ(json.get<std::int64_t>(), value);
  }
}

TEST(SnapshotJson, reals_without_a_number_have_a_name) {
  EXPECT_EQ(contents_json(array({{HUGE_VAL}, {-HUGE_VAL}, {NAN}, {-NAN}})),
            R"([{"real":"inf"},{"real":"-inf"},{"real":"nan"},{"real":"nan"}])");
}

TEST(SnapshotJson, a_title_that_is_not_utf8_is_marked) {
  EXPECT_EQ(nlohmann::json::parse(snapshot_json({"a\xff", {true}}))["title"], "a\uFFFD");
}

}  // namespace
}  // namespace hub::test
