// SPDX-License-Identifier: Apache-2.0
// The plug-in without memory, as its process meets it: nothing may leave its functions but what their headers say.
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "dispatch/dispatch.h"
#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/plugin_loader.h"
#include "host/session/snapshot_file.h"
#include "ledger/ledger_host.h"
#include "log/log_host.h"
#include "notify.h"
#include "notify/notify_host.h"
#include "os/state.h"
#include "profile/NEBLogDecoder.h"
#include "profile/profile_exports.h"
#include "state/state_host.h"
#include "tests/reliability/allocations/failing_allocations_run.h"

namespace hub::test {
namespace {

// Keeps what it is told in memory of its own.
class Record {
 public:
  void add(std::string_view words) {
    length_ += words.copy(bytes_.data() + length_, bytes_.size() - length_);
    if (length_ < bytes_.size()) {
      bytes_[length_++] = '\n';
    }
  }
  [[nodiscard]] std::string text() const { return {bytes_.data(), length_}; }

 private:
  std::array<char, 4096> bytes_{};
  std::size_t length_ = 0;
};

class RecordingLedger final : public platform::Ledger {
 public:
  bool clear_scalar(std::string_view key) override { return note("clear", key, 0); }
  bool set_scalar(std::string_view key, std::int64_t value) override {
    return note("set", key, static_cast<double>(value));
  }
  bool add_to_scalar(std::string_view key, std::int64_t value) override {
    return note("add", key, static_cast<double>(value));
  }
  bool clear_distribution(std::string_view key) override { return note("clear samples", key, 0); }
  bool set_distribution(std::string_view key, double sample) override { return note("set sample", key, sample); }
  bool push_to_distribution(std::string_view key, double sample) override { return note("push", key, sample); }

  Record record;

 private:
  bool note(const char* operation, std::string_view key, double value) {
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), "%s %.*s %f", operation, static_cast<int>(key.size()), key.data(), value);
    record.add(line.data());
    return true;
  }
};

// The process around the plug-in. What allocates before begin_failing() has memory, and so has what ends it.
class World {
 public:
  World() {
    platform::set_log_recorder([](const platform::LogMessage&) {});
    platform::use_ledger(&ledger);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() {
    end_failing();
    platform::use_ledger(nullptr);
    platform::clear_notifications();
    platform::clear_state_handlers();
    platform::set_log_recorder(nullptr);
    dispatch_release(queue);
  }

  void load() {
    plugin.emplace(HUB_PLUGIN);
    if (!plugin->open()) {
      throw Refused();
    }
    plugin->schedule(queue);
  }

  void register_services() {
    for (const host::ModelledService& service : registry.services()) {
      plugin->register_service(service.service.get());
    }
  }

  RecordingLedger ledger;
  dispatch_queue_t queue = dispatch_queue_create("plug-in", nullptr);
  host::Device device = host::read_device_file(HUB_SMALL_DEVICE);
  host::Observations observations;
  host::ModelledRegistry registry{device, observations};
  std::optional<host::LoadedPlugIn> plugin;
};

std::string load_plugin() {
  World world;
  begin_failing();
  world.load();
  end_failing();
  world.plugin->close();
  return "loaded";
}

// How many handles it keeps of each service.
std::string register_services() {
  World world;
  world.load();
  begin_failing();
  world.register_services();
  end_failing();
  std::string handlers;
  for (std::size_t handler = 0; handler < platform::state_handlers(); ++handler) {
    handlers += "handler\n";
  }
  return handlers;
}

std::string publish_batch() {
  World world;
  world.load();
  world.register_services();
  begin_failing();
  host::Bytes& records = world.device.batches.front().records;
  const bool posted = world.registry.services().front().device->post(
      [&records](const host::DeviceModel::Publish& publish) { publish(records); });
  dispatch_sync(world.queue, [] {});
  end_failing();
  return posted ? world.ledger.record.text() : "there was no callback";
}

std::string hear_notification() {
  World world;
  world.load();
  begin_failing();
  const std::uint32_t status = notify_post("com.vantu.vantuhubhidstatistics.fault");
  end_failing();
  if (status != NOTIFY_STATUS_OK) {
    throw Refused();
  }
  dispatch_sync(world.queue, [] {});
  return "posted";
}

// A property list's values, a line each. Those of replies that did not come are left out: zeros, -1 and empty texts. So
// are the times at the end of a report's line.
void list_values(const platform::PropertyListValue& value, const std::string& path, std::string& lines) {
  std::visit(
      [&](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, platform::PropertyListDictionary>) {
          for (const auto& [key, member] : held) {
            list_values(member, (path + "/").append(key), lines);
          }
        } else if constexpr (std::is_same_v<Held, platform::PropertyListArray>) {
          for (const auto& member : held) {
            list_values(member, path + "/[]", lines);
          }
        } else if constexpr (std::is_same_v<Held, std::string>) {
          lines += held.empty() ? "" : path + " " + held.substr(0, held.find(']')) + "\n";
        } else if constexpr (std::is_arithmetic_v<Held>) {
          lines += held == Held{} || held == static_cast<Held>(-1) ? "" : path + " " + std::to_string(held) + "\n";
        }
      },
      value.value);
}

// Without the number of the handler: what one of them could not take is there for the next.
std::string title_of(const os_state_data_s& data) {
  const std::string title = data.title;
  const std::size_t number = title.find_first_of("0123456789");
  return number == std::string::npos ? title : title.substr(0, number) + title.substr(title.find(' ', number));
}

template <std::uint32_t Api>
std::string capture_state() {
  std::array<platform::OwnedStateData, 128> taken;
  std::string lines;
  World world;
  world.load();
  world.register_services();
  begin_failing();
  platform::capture_state(
      Api, [&taken](std::size_t handler, platform::OwnedStateData data) { taken.at(handler) = std::move(data); });
  end_failing();
  for (const auto& data : taken) {
    if (data != nullptr) {
      const auto contents = platform::read_property_list(std::as_bytes(std::span(data->data, data->data_size_bytes)));
      list_values(contents, title_of(*data), lines);
    }
  }
  return lines;
}

_HubProfileReport sample_report(unsigned category) {
  _HubProfileReport report{};
  report.category_id = static_cast<std::uint8_t>(category);
  report.timestamp = 1'000'000;
  return report;
}

// Lines are whole or not there: no text is no promise about a time that could not be asked for.
std::string decode_by_export() {
  World world;
  std::array<std::array<char, 1024>, 12> lines{};
  begin_failing();
  for (unsigned category = 0; category < lines.size(); ++category) {
    const _HubProfileReport report = sample_report(category);
    if (const CFStringRef line = CopyProfileDescription(&report)) {
      CFStringGetCString(line, lines[category].data(), 1024, kCFStringEncodingUTF8);
      CFRelease(line);
    }
  }
  end_failing();
  std::string all;
  for (const auto& line : lines) {
    // The times come last, each left out when it cannot be had.
    const std::string_view text(line.data());
    all += text.empty() ? "" : std::string(text.substr(0, text.find(']'))) + "\n";
  }
  return all;
}

std::string print_by_export() {
  World world;
  if (std::freopen(scratch("printed").c_str(), "w", stdout) == nullptr) {
    throw Refused();
  }
  begin_failing();
  for (unsigned category = 0; category < 12; ++category) {
    const _HubProfileReport report = sample_report(category);
    hub_profile_print(&report);
  }
  std::fflush(stdout);
  end_failing();
  std::istringstream printed(content_of(scratch("printed")));
  std::string all;
  for (std::string line; std::getline(printed, line);) {
    all += line.substr(0, line.find(']')) + "\n";
  }
  return all;
}

class OutsideDecoder final : public profile_decoder {
 public:
  std::string component_name(unsigned int) override { return "a component's name that is long enough for the heap"; }
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override {
    profile_decoder::parse_datatype(stream, report);
    stream << key("a key of its own") << str("and a value that is long enough for the heap") << ",";
  }
};

std::string without_times(const std::string& line) { return line.substr(0, line.find(']')); }

std::string decode_outside() {
  World world;
  OutsideDecoder decoder;
  begin_failing();
  std::string first = decoder.to_string(sample_report(3));
  std::string second = NEBLogDecoder::to_string(sample_report(2));
  end_failing();
  return without_times(first) + "\n" + without_times(second);
}

constexpr Scenario kScenarios[] = {
    {"load", load_plugin, false, {}, true},
    {"registration", register_services, true, {}, true},
    {"batch", publish_batch, true, {}, true},
    {"notification", hear_notification, false, {}, true},
    {"capture_on_request", capture_state<OS_STATE_API_REQUEST>, true, {}, true},
    {"capture_on_fault", capture_state<OS_STATE_API_FAULT>, true, {}, true},
    {"capture_on_error", capture_state<OS_STATE_API_ERROR>, true, {}, true},
    {"decoding_export", decode_by_export, true, {}, true},
    {"printing_export", print_by_export, true, {}, true},
    {"outside_decoder", decode_outside, false, {}, true},
};

}  // namespace

const std::span<const Scenario> kPlugInScenarios = kScenarios;

}  // namespace hub::test
