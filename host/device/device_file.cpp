// SPDX-License-Identifier: Apache-2.0
#include "host/device/device_file.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <set>
#include <span>
#include <system_error>
#include <unordered_map>

#include "host/device/batch_reader.h"
#include "host/device/json_place.h"
#include "host/device/json_text.h"
#include "host/device/node_reader.h"
#include "host/io/descriptor.h"

namespace hub::host {
namespace {

constexpr std::string_view kFormat = "hub-device/1";

void check_format(const JsonPlace& at) {
  const std::string expected = in_quotes(kFormat);
  if (at.get<std::string>(expected) != kFormat) {
    at.refuse(expected);
  }
}

// Ids that the file gives; nodes without one take what is left.
void check_ids_unique(const std::vector<Node>& nodes, const std::string& path, std::set<std::int64_t>& seen) {
  for (std::size_t index = 0; index < nodes.size(); ++index) {
    const Node& node = nodes[index];
    const std::string node_path = path + path_step(index);
    if (node.id && !seen.insert(*node.id).second) {
      throw JsonError(node_path + path_step("id"), "an id that no other node has", std::to_string(*node.id));
    }
    check_ids_unique(node.children, node_path + path_step("children"), seen);
  }
}

using NameCounts = std::unordered_map<std::string, std::size_t>;

void count_hid_names(const std::vector<Node>& nodes, NameCounts& counts) {
  for (const Node& node : nodes) {
    counts[node.name] += node.hid ? 1 : 0;
    count_hid_names(node.children, counts);
  }
}

void check_services(const Device& device) {
  NameCounts counts;
  count_hid_names(device.registry, counts);
  for (std::size_t index = 0; index < device.batches.size(); ++index) {
    const std::string& service = device.batches[index].service;
    if (counts[service] != 1) {
      throw JsonError("$.batches" + path_step(index) + ".service", "the name of exactly one HID node",
                      in_quotes(service) + ", the name of " + std::to_string(counts[service]));
    }
  }
}

Device read_device(const JsonPlace& at) {
  Device device;
  read_fields(at, {{"format", check_format, Need::kRequired},
                   {"registry", into(device.registry, list_of(read_node)), Need::kRequired},
                   {"batches", into(device.batches, list_of(read_batch))},
                   {"notifications", into(device.notifications, list_of(read_name))}});
  std::set<std::int64_t> ids;
  check_ids_unique(device.registry, "$.registry", ids);
  check_services(device);
  return device;
}

// Throws std::system_error.
std::string read_whole_file(const std::string& path) {
  const Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (descriptor.number() < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  constexpr std::size_t kBlockBytes = 65536;
  std::string content;
  std::size_t length = 0;
  do {
    const std::size_t before = content.size();
    content.resize(before + kBlockBytes);
    length = read_some(descriptor.number(), std::as_writable_bytes(std::span(content).subspan(before)));
    content.resize(before + length);
  } while (length > 0);
  return content;
}

std::filesystem::path folder_of(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

}  // namespace

Device read_device_file(const std::string& path) {
  std::string text;
  try {
    text = read_whole_file(path);
  } catch (const std::system_error& error) {
    throw DeviceFileError(path + ": expected a device file, found none (" + error.code().message() + ")");
  }
  return read_device_text(text, path);
}

Device read_device_text(std::string_view text, const std::string& path) {
  try {
    const JsonValue root = read_json_text(text);
    const std::filesystem::path folder = folder_of(path);
    return read_device(JsonPlace(root, folder));
  } catch (const JsonError& error) {
    throw DeviceFileError(path + ": " + error.what());
  }
}

}  // namespace hub::host
