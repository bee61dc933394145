// SPDX-License-Identifier: Apache-2.0
// Device files: one co-processor as the plug-in sees it, told in JSON. See examples/devices/. This reader takes a file
// whole or refuses it; everything in a Device has been checked.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/device/replies.h"

namespace hub::host {

struct PropertyValue;
struct Property;
using PropertyArray = std::vector<PropertyValue>;
using Properties = std::vector<Property>;  // in the file's order, keys unique

// What a property can be: the types that a device file has.
struct PropertyValue {
  std::variant<std::string, bool, std::int64_t, double, PropertyArray, Properties> value;
};

struct Property {
  std::string key;
  PropertyValue value;
};

// What the far side of a driver or user client returns, by id.
using Replies = std::map<std::uint32_t, ReplyPlan>;

// How a plug-in object and its interface are obtained.
struct PlugInPlan {
  bool has_plugin = true;
  bool has_interface = true;
  std::int32_t query_status = 0;  // of QueryInterface: 0x80000004 by default when there is no interface
};

struct DriverPlan {
  PlugInPlan plugin;
  StatusPlan open = {0};
  Replies properties;
  Replies commands;
};

struct DevicePlan {
  PlugInPlan plugin;
  StatusPlan open = {0};
  bool has_hid_device = true;
};

struct UserClientPlan {
  StatusPlan open = {0};
  Replies properties;
  Replies commands;
  Replies methods;
};

struct HidPlan {
  // What the service reports as its registry id.
  struct OwnId {};
  struct NoId {};
  using ReportedId = std::variant<OwnId, NoId, std::int64_t>;

  Properties properties;
  std::vector<std::pair<std::uint16_t, std::uint16_t>> usages;  // (usage page, usage)
  ReportedId registry_id = OwnId{};
};

// A registry entry with everything below it.
struct Node {
  std::string name;
  std::string class_name;
  std::optional<std::int64_t> id;  // none: to be assigned
  Properties properties;
  std::vector<Node> children;
  std::optional<HidPlan> hid;
  std::optional<DriverPlan> driver;
  std::optional<DevicePlan> device;
  std::optional<UserClientPlan> user_client;
};

// Statistics records for one HID service; a whole number of 7-byte operation records.
struct Batch {
  std::string service;  // the name of exactly one HID node
  Bytes records;
};

struct Device {
  std::vector<Node> registry;
  std::vector<Batch> batches;
  std::vector<std::string> notifications;
};

// Names the file, the place in it (a JSON path such as $.registry[0].children[2].hid.usages[1], or a line and column
// where it is no JSON), and what was expected there.
class DeviceFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a device file and the files that it names, which lie in its folder (as its path says it) or below. Objects and
// arrays stand at most 256 deep in each other; a reply's text is filled to at most 16 MiB. Time and memory are linear
// in what is read. Throws DeviceFileError, and std::bad_alloc. [any thread]
Device read_device_file(const std::string& path);

// The same of a text that stands in for the file's own; no file of that name is looked for. [any thread]
Device read_device_text(std::string_view text, const std::string& path);

}  // namespace hub::host
