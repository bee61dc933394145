// SPDX-License-Identifier: Apache-2.0
#include "host/device/node_reader.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

#include "host/device/reply_plans.h"

namespace hub::host {
namespace {

PropertyValue read_property(const JsonPlace& at);

Properties read_properties(const JsonPlace& at) {
  Properties properties;
  for (const JsonMember& member : at.get<JsonObject>("an object")) {
    properties.push_back({member.key, read_property(JsonPlace(at, member))});
  }
  return properties;
}

struct ReadProperty {
  const JsonPlace& at;

  PropertyValue operator()(const std::string& text) const { return {text}; }
  PropertyValue operator()(bool truth) const { return {truth}; }
  PropertyValue operator()(std::int64_t number) const { return {number}; }
  PropertyValue operator()(double number) const { return {number}; }
  PropertyValue operator()(const JsonArray& /*array*/) const { return {list_of(read_property)(at)}; }
  PropertyValue operator()(const JsonObject& /*object*/) const { return {read_properties(at)}; }
  PropertyValue operator()(std::uint64_t /*number*/) const { return {read_integer<std::int64_t>(at)}; }
  PropertyValue operator()(const JsonLongInteger& /*number*/) const { return {read_integer<std::int64_t>(at)}; }
  PropertyValue operator()(JsonNull /*null*/) const {
    at.refuse("a text, true, false, a number, an array or an object");
  }
};

PropertyValue read_property(const JsonPlace& at) { return std::visit(ReadProperty{at}, at.value().value); }

// Ids that are object keys, and the reply of each.

std::optional<std::uint32_t> parse_decimal_id(std::string_view text) {
  std::uint32_t id = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool is_number = result.ec == std::errc() && result.ptr == text.data() + text.size();
  const bool has_leading_zeros = text.size() > 1 && text.front() == '0';
  return is_number && !has_leading_zeros ? std::optional(id) : std::nullopt;
}

std::uint32_t read_id(const JsonPlace& at, std::string_view key) {
  const auto decimal = parse_decimal_id(key);
  const auto id = decimal ? decimal : parse_hex_number(key);
  if (!id) {
    at.refuse("an id from 0 to 4294967295, or 0x and up to 8 hexadecimal digits, as the key", in_quotes(key));
  }
  return *id;
}

// Ids whose replies stand under another key.
struct ReservedIds {
  std::span<const std::uint32_t> ids;
  const char* expected;
};

constexpr std::uint32_t kDriverCommands[] = {10};
constexpr ReservedIds kReservedCommands = {kDriverCommands, "another id: command 10 is answered by \"properties\""};

constexpr std::uint32_t kUserClientMethods[] = {2, 3};
constexpr ReservedIds kReservedMethods = {
    kUserClientMethods, "another id: selector 2 is answered by \"properties\", selector 3 by \"commands\""};

constexpr ReservedIds kNoReservedIds = {{}, ""};

template <const ReservedIds& reserved>
Replies read_replies(const JsonPlace& at) {
  Replies replies;
  for (const JsonMember& member : at.get<JsonObject>("an object")) {
    const JsonPlace place(at, member);
    const std::uint32_t id = read_id(place, member.key);
    if (std::find(reserved.ids.begin(), reserved.ids.end(), id) != reserved.ids.end()) {
      place.refuse(reserved.expected, std::to_string(id));
    }
    if (!replies.emplace(id, read_reply(place)).second) {
      place.refuse("each id once", std::to_string(id) + " again");
    }
  }
  return replies;
}

// How a driver or device is obtained, with the default that depends on its other values.
struct PlugInFields {
  PlugInPlan plan;
  std::optional<std::int32_t> query_status;

  [[nodiscard]] PlugInPlan complete() const {
    constexpr auto kNoInterface = static_cast<std::int32_t>(0x80000004U);
    PlugInPlan completed = plan;
    completed.query_status = query_status.value_or(plan.has_interface ? 0 : kNoInterface);
    return completed;
  }
};

DriverPlan read_driver(const JsonPlace& at) {
  DriverPlan driver;
  PlugInFields plugin;
  read_fields(at, {{"open", into(driver.open, read_status_plan)},
                   {"plugin", into(plugin.plan.has_plugin, read_boolean)},
                   {"interface", into(plugin.plan.has_interface, read_boolean)},
                   {"query", into(plugin.query_status, read_status)},
                   {"properties", into(driver.properties, read_replies<kNoReservedIds>)},
                   {"commands", into(driver.commands, read_replies<kReservedCommands>)}});
  driver.plugin = plugin.complete();
  return driver;
}

DevicePlan read_device_plan(const JsonPlace& at) {
  DevicePlan device;
  PlugInFields plugin;
  read_fields(at, {{"open", into(device.open, read_status_plan)},
                   {"plugin", into(plugin.plan.has_plugin, read_boolean)},
                   {"interface", into(plugin.plan.has_interface, read_boolean)},
                   {"query", into(plugin.query_status, read_status)},
                   {"hidDevice", into(device.has_hid_device, read_boolean)}});
  device.plugin = plugin.complete();
  return device;
}

UserClientPlan read_user_client(const JsonPlace& at) {
  UserClientPlan client;
  read_fields(at, {{"open", into(client.open, read_status_plan)},
                   {"properties", into(client.properties, read_replies<kNoReservedIds>)},
                   {"commands", into(client.commands, read_replies<kNoReservedIds>)},
                   {"methods", into(client.methods, read_replies<kReservedMethods>)}});
  return client;
}

// HID services.

std::pair<std::uint16_t, std::uint16_t> read_usage(const JsonPlace& at) {
  const auto pair = list_of(read_integer<std::uint16_t>)(at);
  if (pair.size() != 2) {
    at.refuse("a usage page and a usage");
  }
  return {pair[0], pair[1]};
}

HidPlan::ReportedId read_reported_id(const JsonPlace& at) {
  const bool* truth = at.get_if<bool>();
  if (truth != nullptr && !*truth) {
    return HidPlan::NoId{};
  }
  constexpr std::uint64_t kHighest = std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(read_integer_bits(at, 0, kHighest, ", or false"));
}

HidPlan read_hid(const JsonPlace& at) {
  HidPlan hid;
  read_fields(at, {{"properties", into(hid.properties, read_properties)},
                   {"usages", into(hid.usages, list_of(read_usage))},
                   {"registryID", into(hid.registry_id, read_reported_id)}});
  return hid;
}

// What a registry entry's name and class hold, with a NUL behind it.
constexpr std::size_t kMaxNameBytes = 127;

std::string read_registry_name(const JsonPlace& at) {
  std::string name = read_name(at);
  if (name.size() > kMaxNameBytes) {
    at.refuse("a name of at most " + in_bytes(kMaxNameBytes), in_bytes(name.size()));
  }
  return name;
}

}  // namespace

Node read_node(const JsonPlace& at) {
  Node node;
  std::optional<std::string> class_name;
  read_fields(at, {{"name", into(node.name, read_registry_name), Need::kRequired},
                   {"class", into(class_name, read_name)},
                   {"id", into(node.id, read_integer<std::int64_t, 1>)},
                   {"properties", into(node.properties, read_properties)},
                   {"children", into(node.children, list_of(read_node))},
                   {"hid", into(node.hid, read_hid)},
                   {"driver", into(node.driver, read_driver)},
                   {"device", into(node.device, read_device_plan)},
                   {"userClient", into(node.user_client, read_user_client)}});
  node.class_name = class_name.value_or(node.name);
  return node;
}

}  // namespace hub::host
