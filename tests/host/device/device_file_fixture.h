// SPDX-License-Identifier: Apache-2.0
// A folder with a device file in it, made from the part that a test is about.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <variant>

#include "host/device/device_file.h"

namespace hub::test {

class DeviceFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string made = (std::filesystem::temp_directory_path() / "device_file_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    folder_ = std::filesystem::canonical(made);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }

  [[nodiscard]] std::string make_file(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

  // A device file with this text.
  [[nodiscard]] host::Device read(const std::string& text) const {
    return host::read_device_file(make_file("device.json", text));
  }

  // What is said of a device file that is refused, behind its name; empty when it is taken.
  [[nodiscard]] std::string refusal(const std::string& text) const {
    try {
      [[maybe_unused]] const host::Device taken = read(text);
      return {};
    } catch (const host::DeviceFileError& error) {
      const std::string message = error.what();
      const std::string prefix = path("device.json") + ": ";
      EXPECT_EQ(message.substr(0, prefix.size()), prefix);
      return message.substr(prefix.size());
    }
  }

  static std::string device(const std::string& nodes, const std::string& more = "") {
    return R"({ "format": "hub-device/1", "registry": [ )" + nodes + " ]" + more + " }";
  }

  // A device of one node with these values and a name.
  static std::string node(const std::string& values) { return device(R"({ "name": "accel", )" + values + " }"); }
  [[nodiscard]] host::Node read_node(const std::string& values) const { return read(node(values)).registry.at(0); }

  // A device whose driver answers a property with this.
  static std::string reply(const std::string& form) {
    return node(R"("driver": { "properties": { "215": )" + form + " } }");
  }
  [[nodiscard]] host::ReplyPlan read_reply(const std::string& form) const {
    return read(reply(form)).registry.at(0).driver->properties.at(215);
  }
  [[nodiscard]] std::string reply_refusal(const std::string& form) const {
    const std::string message = refusal(reply(form));
    const std::string prefix = R"($.registry[0].driver.properties["215"])";
    EXPECT_EQ(message.substr(0, prefix.size()), prefix) << message;
    return message.substr(std::min(message.size(), prefix.size()));
  }
  [[nodiscard]] host::Bytes bytes(const std::string& form) const {
    return std::get<host::Answer>(read_reply(form)).bytes;
  }

  // A device with one HID service, "button", and this batch.
  static std::string batch(const std::string& values) {
    return device(R"({ "name": "button", "hid": {} })", R"(, "batches": [ { "service": "button", )" + values + " } ]");
  }
  [[nodiscard]] host::Bytes records(const std::string& values) const {
    return read(batch(values)).batches.at(0).records;
  }

  static host::Bytes bytes_of(std::initializer_list<int> numbers) {
    host::Bytes result;
    for (const int number : numbers) {
      result.push_back(static_cast<std::byte>(number));
    }
    return result;
  }

  std::filesystem::path folder_;
};

}  // namespace hub::test
