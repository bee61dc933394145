// SPDX-License-Identifier: Apache-2.0
#include "host/captures/clock_sources.h"

#include <cerrno>
#include <charconv>
#include <utility>

#include "host/device/property_objects.h"
#include "registry/registry_host.h"
#include "system/system_host.h"

namespace hub::host {
namespace {

// The whole text as one number.
std::optional<std::int64_t> parse_number(std::string_view text) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped_at == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<ClockPair> parse_clock_pair(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) {
    return std::nullopt;
  }
  const auto hub = parse_number(text.substr(0, comma));
  const auto calendar = parse_number(text.substr(comma + 1));
  return hub && calendar ? std::optional(ClockPair{*hub, *calendar}) : std::nullopt;
}

std::optional<BootTime> parse_boot_time(std::string_view text) {
  if (text == "none") {
    return BootTime{std::nullopt};
  }
  const auto number = parse_number(text);
  if (!number || *number < 0) {
    return std::nullopt;
  }
  return BootTime{static_cast<std::uint64_t>(*number)};
}

void publish_clock_pair(const ClockPair& pair) {
  Properties timesync;
  timesync.push_back({"hub", {pair.hub}});
  timesync.push_back({"calendar", {pair.calendar}});
  Properties properties;
  properties.push_back({"timesync", {std::move(timesync)}});
  platform::add_registry_entry(platform::kNoParent, "VantuHUBTimesync", "VantuHUBTimesync",
                               create_dictionary(properties).get());
}

void publish_boot_time(const BootTime& boot_time) {
  if (!boot_time.microseconds) {
    platform::fail_boot_time(ENOENT);
    return;
  }
  constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
  platform::set_boot_time({static_cast<time_t>(*boot_time.microseconds / kMicrosecondsPerSecond),
                           static_cast<suseconds_t>(*boot_time.microseconds % kMicrosecondsPerSecond)});
}

}  // namespace hub::host
