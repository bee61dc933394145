// SPDX-License-Identifier: Apache-2.0
#include "host/device/device_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/host/device/device_file_fixture.h"

namespace hub::test {
namespace {

using host::Device;
using host::DeviceFileError;
using host::HidPlan;
using host::Node;
using host::PropertyArray;
using host::StatusPlan;

constexpr std::int64_t kHighestId = std::numeric_limits<std::int64_t>::max();
constexpr auto kNoInterface = static_cast<std::int32_t>(0x80000004U);

TEST_F(DeviceFileTest, file_that_cannot_be_read_is_refused_with_the_reason) {
  const auto message = [](const std::string& path) -> std::string {
    try {
      host::read_device_file(path);
      return "taken";
    } catch (const DeviceFileError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(message(path("none.json")),
            path("none.json") + ": expected a device file, found none (No such file or directory)");
  EXPECT_EQ(message(path("")), path("") + ": expected a device file, found none (Is a directory)");
}

TEST_F(DeviceFileTest, text_stands_in_for_a_file_that_is_not_there) {
  const std::string file = path("none.json");
  static_cast<void>(make_file("part.bin", "ab"));
  const Device read_text =
      host::read_device_text(node(R"("driver": { "properties": { "1": { "file": "part.bin" } } })"), file);
  EXPECT_TRUE(read_text.registry.at(0).driver->properties.contains(1));
  try {
    host::read_device_text("[]", file);
    ADD_FAILURE() << "taken";
  } catch (const DeviceFileError& error) {
    EXPECT_EQ(error.what(), file + ": $: expected an object, found an array of 0");
  }
}

TEST_F(DeviceFileTest, least_device_is_empty) {
  const Device device = read(R"({ "format": "hub-device/1", "registry": [] })");
  EXPECT_TRUE(device.registry.empty());
  EXPECT_TRUE(device.batches.empty());
  EXPECT_TRUE(device.notifications.empty());
}

TEST_F(DeviceFileTest, notifications_stand_in_order) {
  const Device with_some = read(device("", R"(, "notifications": [ "b", "a", "b" ])"));
  EXPECT_EQ(with_some.notifications, (std::vector<std::string>{"b", "a", "b"}));
}

using NodeTest = DeviceFileTest;

TEST_F(NodeTest, node_of_a_name_has_everything_else_by_default) {
  const Device device = read(DeviceFileTest::device(R"({ "name": "accel" })"));
  const Node& node = device.registry.at(0);
  EXPECT_EQ(node.name, "accel");
  EXPECT_EQ(node.class_name, "accel");
  EXPECT_EQ(node.id, std::nullopt);
  EXPECT_TRUE(node.properties.empty() && node.children.empty());
  EXPECT_FALSE(node.hid || node.driver || node.device || node.user_client);
}

TEST_F(NodeTest, class_is_the_one_that_is_given) {
  EXPECT_EQ(read_node(R"("class": "VantuHUBSensor")").class_name, "VantuHUBSensor");
}

TEST_F(NodeTest, name_has_up_to_127_bytes) {
  for (const std::size_t length : {std::size_t{1}, std::size_t{127}}) {
    const std::string name(length, 'x');
    EXPECT_EQ(read(device(R"({ "name": ")" + name + R"(" })")).registry.at(0).name, name);
  }
  EXPECT_EQ(refusal(device(R"({ "name": ")" + std::string(128, 'x') + R"(" })")),
            "$.registry[0].name: expected a name of at most 127 bytes, found 128 bytes");
}

TEST_F(NodeTest, class_has_no_such_limit) {
  const std::string name(128, 'x');
  EXPECT_EQ(read_node(R"("class": ")" + name + "\"").class_name, name);
}

TEST_F(NodeTest, id_has_63_bits_and_is_not_zero) {
  EXPECT_EQ(read_node(R"("id": 1)").id, 1);
  EXPECT_EQ(read_node(R"("id": 9223372036854775807)").id, kHighestId);
  for (const std::string id : {"0", "9223372036854775808"}) {
    EXPECT_EQ(refusal(node(R"("id": )" + id)),
              "$.registry[0].id: expected an integer from 1 to 9223372036854775807, found " + id);
  }
}

TEST_F(NodeTest, id_of_a_root_may_not_be_one_of_an_earlier_root_or_below) {
  EXPECT_EQ(refusal(device(R"({ "name": "a", "children": [ { "name": "b", "id": 5 } ] }, { "name": "c", "id": 5 })")),
            "$.registry[1].id: expected an id that no other node has, found 5");
}

TEST_F(NodeTest, children_stand_in_order_with_theirs) {
  const Node node = read_node(R"("children": [ { "name": "a", "children": [ { "name": "b" } ] }, { "name": "c" } ])");
  ASSERT_EQ(node.children.size(), 2U);
  EXPECT_EQ(node.children[0].name + node.children[0].children.at(0).name + node.children[1].name, "abc");
}

TEST_F(NodeTest, properties_keep_their_types_and_order) {
  const auto properties = read_node(R"("properties": { "t": "x", "b": false, "i": -1, "d": -1.0 })").properties;
  ASSERT_EQ(properties.size(), 4U);
  EXPECT_EQ(properties[0].key + properties[1].key + properties[2].key + properties[3].key, "tbid");
  EXPECT_EQ(std::get<std::string>(properties[0].value.value), "x");
  EXPECT_EQ(std::get<bool>(properties[1].value.value), false);
  EXPECT_EQ(std::get<std::int64_t>(properties[2].value.value), -1);
  EXPECT_EQ(std::get<double>(properties[3].value.value), -1.0);
}

TEST_F(NodeTest, properties_hold_arrays_and_dictionaries) {
  const auto properties = read_node(R"("properties": { "timesync": [ 7, { "hub": 5000 }, [] ] })").properties;
  const auto& array = std::get<PropertyArray>(properties.at(0).value.value);
  ASSERT_EQ(array.size(), 3U);
  EXPECT_EQ(std::get<std::int64_t>(array[0].value), 7);
  const auto& dictionary = std::get<host::Properties>(array[1].value);
  EXPECT_EQ(dictionary.at(0).key, "hub");
  EXPECT_EQ(std::get<std::int64_t>(dictionary.at(0).value.value), 5000);
  EXPECT_TRUE(std::get<PropertyArray>(array[2].value).empty());
}

TEST_F(NodeTest, integer_properties_have_64_bits) {
  for (const std::int64_t number : {std::numeric_limits<std::int64_t>::min(), kHighestId}) {
    const auto properties = read_node(R"("properties": { "a": )" + std::to_string(number) + " }").properties;
    EXPECT_EQ(std::get<std::int64_t>(properties.at(0).value.value), number);
  }
}

using HidTest = DeviceFileTest;

TEST_F(HidTest, empty_hid_is_a_service_with_the_id_of_its_node) {
  const auto hid = read_node(R"("hid": {})").hid;
  ASSERT_TRUE(hid);
  EXPECT_TRUE(std::holds_alternative<HidPlan::OwnId>(hid->registry_id));
  EXPECT_TRUE(hid->properties.empty() && hid->usages.empty());
}

TEST_F(HidTest, usages_are_pairs_of_16_bits) {
  const auto hid = read_node(R"("hid": { "usages": [ [32, 49], [0, 65535], [65535, 0] ] })").hid;
  const std::vector<std::pair<std::uint16_t, std::uint16_t>> expected = {{32, 49}, {0, 65535}, {65535, 0}};
  EXPECT_EQ(hid->usages, expected);
  EXPECT_EQ(refusal(node(R"("hid": { "usages": [ [0, 65536] ] })")),
            "$.registry[0].hid.usages[0][1]: expected an integer from 0 to 65535, found 65536");
}

TEST_F(HidTest, service_reports_another_id_or_none) {
  const auto reported = [this](const std::string& id) {
    return read_node(R"("hid": { "registryID": )" + id + " }").hid->registry_id;
  };
  EXPECT_EQ(std::get<std::int64_t>(reported("0")), 0);
  EXPECT_EQ(std::get<std::int64_t>(reported("9223372036854775807")), kHighestId);
  EXPECT_TRUE(std::holds_alternative<HidPlan::NoId>(reported("false")));
}

TEST_F(HidTest, reported_id_may_be_that_of_another_node) {
  EXPECT_EQ(refusal(device(R"({ "name": "a", "id": 7 }, { "name": "b", "hid": { "registryID": 7 } })")), "");
}

TEST_F(HidTest, properties_of_the_service_are_its_own) {
  const Node node = read_node(R"("properties": { "a": 1 }, "hid": { "properties": { "b": "x" } })");
  ASSERT_EQ(node.hid->properties.size(), 1U);
  EXPECT_EQ(node.hid->properties[0].key, "b");
  EXPECT_EQ(std::get<std::string>(node.hid->properties[0].value.value), "x");
}

using AnswersTest = DeviceFileTest;

TEST_F(AnswersTest, empty_driver_opens_and_answers_nothing) {
  const auto driver = read_node(R"("driver": {})").driver;
  ASSERT_TRUE(driver);
  EXPECT_TRUE(driver->plugin.has_plugin && driver->plugin.has_interface);
  EXPECT_EQ(driver->plugin.query_status, 0);
  EXPECT_EQ(driver->open, StatusPlan{0});
  EXPECT_TRUE(driver->properties.empty() && driver->commands.empty());
}

TEST_F(AnswersTest, empty_device_opens_and_has_a_hid_device) {
  const auto device = read_node(R"("device": {})").device;
  ASSERT_TRUE(device);
  EXPECT_TRUE(device->plugin.has_plugin && device->plugin.has_interface && device->has_hid_device);
  EXPECT_EQ(device->plugin.query_status, 0);
  EXPECT_EQ(device->open, StatusPlan{0});
}

TEST_F(AnswersTest, empty_user_client_opens_and_answers_nothing) {
  const auto client = read_node(R"("userClient": {})").user_client;
  ASSERT_TRUE(client);
  EXPECT_EQ(client->open, StatusPlan{0});
  EXPECT_TRUE(client->properties.empty() && client->commands.empty() && client->methods.empty());
}

TEST_F(AnswersTest, each_value_of_a_driver_is_kept) {
  const auto driver = read_node(R"("driver": { "open": 1, "plugin": false, "interface": true, "query": 2,
                                    "properties": { "3": { "status": 4 } }, "commands": { "5": { "status": 6 } } })")
                          .driver;
  EXPECT_EQ(driver->open, StatusPlan{1});
  EXPECT_FALSE(driver->plugin.has_plugin);
  EXPECT_TRUE(driver->plugin.has_interface);
  EXPECT_EQ(driver->plugin.query_status, 2);
  EXPECT_EQ(std::get<host::Answer>(driver->properties.at(3)).status, 4);
  EXPECT_EQ(std::get<host::Answer>(driver->commands.at(5)).status, 6);
}

TEST_F(AnswersTest, each_value_of_a_device_is_kept) {
  const auto device = read_node(R"("device": { "open": { "sequence": [1, 2] }, "plugin": false, "interface": false,
                                    "query": 3, "hidDevice": false })")
                          .device;
  EXPECT_EQ(device->open, (StatusPlan{1, 2}));
  EXPECT_FALSE(device->plugin.has_plugin || device->plugin.has_interface || device->has_hid_device);
  EXPECT_EQ(device->plugin.query_status, 3);
}

TEST_F(AnswersTest, each_value_of_a_user_client_is_kept) {
  const auto client = read_node(R"("userClient": { "open": 1, "properties": { "2": { "status": 3 } },
                                    "commands": { "4": { "status": 5 } }, "methods": { "6": { "status": 7 } } })")
                          .user_client;
  EXPECT_EQ(client->open, StatusPlan{1});
  EXPECT_EQ(std::get<host::Answer>(client->properties.at(2)).status, 3);
  EXPECT_EQ(std::get<host::Answer>(client->commands.at(4)).status, 5);
  EXPECT_EQ(std::get<host::Answer>(client->methods.at(6)).status, 7);
}

TEST_F(AnswersTest, query_fails_by_default_when_there_is_no_interface) {
  EXPECT_EQ(read_node(R"("driver": { "interface": false })").driver->plugin.query_status, kNoInterface);
  EXPECT_EQ(read_node(R"("device": { "interface": false })").device->plugin.query_status, kNoInterface);
  EXPECT_EQ(read_node(R"("driver": { "query": 0, "interface": false })").driver->plugin.query_status, 0);
}

TEST_F(AnswersTest, id_is_decimal_or_hexadecimal_and_has_32_bits) {
  const auto replies =
      read_node(R"("driver": { "properties": { "0": [], "4294967295": [], "0xfFfFfFfE": [], "0x0D7": [] } })")
          .driver->properties;
  ASSERT_EQ(replies.size(), 4U);
  for (const std::uint32_t id : {0U, 4294967295U, 4294967294U, 215U}) {
    EXPECT_EQ(replies.count(id), 1U) << id;
  }
}

TEST_F(AnswersTest, one_id_may_have_several_kinds_of_replies) {
  EXPECT_EQ(refusal(node(R"("driver": { "properties": { "9": [] }, "commands": { "9": [] } },
                            "userClient": { "properties": { "9": [] }, "commands": { "9": [] }, "methods": { "9": [] } })")),
            "");
}

TEST_F(AnswersTest, ids_beside_the_reserved_ones_are_free) {
  EXPECT_EQ(
      refusal(node(R"("driver": { "properties": { "10": [] }, "commands": { "9": [], "11": [], "2": [], "3": [] } },
                            "userClient": { "properties": { "2": [], "3": [] }, "commands": { "10": [] },
                                            "methods": { "1": [], "4": [], "10": [] } })")),
      "");
}

using StatusTest = DeviceFileTest;

TEST_F(StatusTest, status_has_32_bits_with_or_without_sign) {
  const auto status = [this](const std::string& text) {
    return read_node(R"("driver": { "open": )" + text + " }").driver->open.at(0);
  };
  EXPECT_EQ(status("-2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(status("2147483647"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(status("2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(status("4294967295"), -1);
  EXPECT_EQ(status(R"("0xE00002c7")"), -536870201);
  EXPECT_EQ(status(R"("0xFFFFFFFF")"), -1);
  EXPECT_EQ(status(R"("0x0")"), 0);
}

TEST_F(StatusTest, status_beyond_32_bits_is_refused) {
  for (const std::string status : {"-2147483649", "4294967296"}) {
    EXPECT_EQ(refusal(node(R"("driver": { "query": )" + status + " }")),
              "$.registry[0].driver.query: expected an integer from -2147483648 to 4294967295, or 0x and up to 8 "
              "hexadecimal digits, found " +
                  status);
  }
}

TEST_F(StatusTest, open_has_one_status_a_call) {
  const auto client = read_node(R"("userClient": { "open": { "sequence": [ "0xE00002D8", -1, 0 ] } })").user_client;
  EXPECT_EQ(client->open, (StatusPlan{-536870184, -1, 0}));
}

using BatchTest = DeviceFileTest;

TEST_F(BatchTest, record_has_a_version_and_a_value_by_default) {
  EXPECT_EQ(records(R"("records": [ { "op": 3, "key": 1 } ])"), bytes_of({67, 3, 1, 0, 0, 0, 0}));
}

TEST_F(BatchTest, record_is_packed_with_its_value_little_endian) {
  EXPECT_EQ(records(R"("records": [ { "value": 67305985, "key": 66, "op": 5, "version": 68 } ])"),
            bytes_of({68, 5, 66, 1, 2, 3, 4}));
}

TEST_F(BatchTest, records_stand_one_after_the_other) {
  EXPECT_EQ(records(R"("records": [ { "op": 1, "key": 2 }, { "op": 3, "key": 4, "value": -1 } ])"),
            bytes_of({67, 1, 2, 0, 0, 0, 0, 67, 3, 4, 255, 255, 255, 255}));
}

TEST_F(BatchTest, record_takes_the_limits_of_each_value) {
  EXPECT_EQ(records(R"("records": [ { "op": 0, "key": 255, "version": 0, "value": -2147483648 },
                                    { "op": 255, "key": 0, "version": 255, "value": 4294967295 } ])"),
            bytes_of({0, 0, 255, 0, 0, 0, 0x80, 255, 255, 0, 255, 255, 255, 255}));
}

TEST_F(BatchTest, value_beyond_a_limit_is_refused) {
  const auto refused = [this](const std::string& key, const std::string& value) {
    const std::string others = key == "op" ? R"("key": 0)" : key == "key" ? R"("op": 0)" : R"("op": 0, "key": 0)";
    return refusal(batch(R"("records": [ { )" + others + ", \"" + key + "\": " + value + " } ]"));
  };
  for (const std::string key : {"op", "key", "version"}) {
    const std::string place = "$.batches[0].records[0]." + key;
    EXPECT_EQ(refused(key, "-1"), place + ": expected an integer from 0 to 255, found -1");
    EXPECT_EQ(refused(key, "256"), place + ": expected an integer from 0 to 255, found 256");
  }
  for (const std::string value : {"-2147483649", "4294967296"}) {
    EXPECT_EQ(refused("value", value),
              "$.batches[0].records[0].value: expected an integer from -2147483648 to 4294967295, found " + value);
  }
}

TEST_F(BatchTest, hex_is_taken_as_it_stands) {
  EXPECT_EQ(records(R"("hex": "43 03 00 01 00 00 00 ff ff ff ff ff ff ff")"),
            bytes_of({0x43, 3, 0, 1, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255}));
}

TEST_F(BatchTest, file_gives_the_part_that_is_asked_for) {
  const std::string file = make_file("records.bin", "C123456C654321.");
  EXPECT_EQ(records(R"("file": "records.bin", "offset": 7, "length": 7)"),
            bytes_of({'C', '6', '5', '4', '3', '2', '1'}));
}

TEST_F(BatchTest, bytes_that_are_not_whole_records_are_refused) {
  for (const int length : {1, 6, 8, 13, 15}) {
    std::string hex;
    for (int count = 0; count < length; ++count) {
      hex += "00";
    }
    EXPECT_EQ(refusal(batch(R"("hex": ")" + hex + "\"")),
              "$.batches[0]: expected a whole number of records of 7 bytes, found " + std::to_string(length) +
                  (length == 1 ? " byte" : " bytes"));
  }
}

TEST_F(BatchTest, batch_without_records_is_one) {
  EXPECT_TRUE(records(R"("records": [])").empty());
  EXPECT_TRUE(records(R"("hex": "")").empty());
}

TEST_F(BatchTest, batches_stand_in_order) {
  const Device two = read(device(R"({ "name": "a", "hid": {} }, { "name": "b", "hid": {} })",
                                 R"(, "batches": [ { "service": "b", "hex": "" }, { "service": "a", "hex": "" } ])"));
  ASSERT_EQ(two.batches.size(), 2U);
  EXPECT_EQ(two.batches[0].service + two.batches[1].service, "ba");
}

TEST_F(BatchTest, service_is_found_anywhere_among_nodes_of_the_same_name) {
  EXPECT_EQ(
      refusal(device(R"({ "name": "b", "children": [ { "name": "x" }, { "name": "b", "hid": {} } ] }, { "name": "b" })",
                     R"(, "batches": [ { "service": "b", "hex": "" } ])")),
      "");
}

}  // namespace
}  // namespace hub::test
