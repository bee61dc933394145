// SPDX-License-Identifier: Apache-2.0
#include "tools/hubprofile/selection_options.h"

#include "tools/command_line.h"

namespace hub::tools {

using namespace hub::host;

namespace {

constexpr const char* kTimeExpected = "a time";

}  // namespace

void SelectionOptions::describe_records(CLI::App& app) {
  add_parsed_option(app, "--where", where_, parse_text, "an expression over fields",
                    "Only records for which this is true, such as\n'category == sshb && duration > 1000'")
      ->type_name("EXPR");
  add_parsed_option(
      app, "--since", since_, parse_text, kTimeExpected,
      "Only records from this time on: microseconds of the co-processor,\nor local time when --timesync is "
      "given")
      ->type_name("TIME");
  add_parsed_option(app, "--until", until_, parse_text, kTimeExpected, "Only records before this time")
      ->type_name("TIME");
  add_parsed_option(app, "--timesync", clock_pair_, parse_clock_pair, "HUB,CALENDAR, two signed 64-bit numbers",
                    "The simultaneous clock pair, both in signed 64-bit nanoseconds:\n"
                    "lines carry \"calendar-time\" in the zone of TZ")
      ->type_name("HUB,CALENDAR");
}

void SelectionOptions::describe_boot_time(CLI::App& app) {
  add_parsed_option(app, "--boot-time", boot_time_, parse_boot_time, "\"none\", or microseconds from 0 to 2^63 - 1",
                    "The boot time in microseconds that lines carry; none: no such item.\nDefault: this machine's")
      ->type_name("US|none");
}

std::function<bool(const _HubProfileReport&)> SelectionOptions::apply() const {
  const TimeWindow window = window_or_refuse();
  const std::optional<RecordFilter> filter = filter_or_refuse();
  if (clock_pair_) {
    publish_clock_pair(*clock_pair_);
  }
  if (boot_time_) {
    publish_boot_time(*boot_time_);
  }
  if (!selects()) {
    return {};
  }
  return [window, filter](const _HubProfileReport& report) {
    return window.contains(report.timestamp) && (!filter || filter->matches(report));
  };
}

std::optional<RecordFilter> SelectionOptions::filter_or_refuse() const {
  try {
    return where_ ? std::optional(RecordFilter::parse(*where_)) : std::nullopt;
  } catch (const FilterError& error) {
    throw CLI::ValidationError("--where", error.what());
  }
}

TimeWindow SelectionOptions::window_or_refuse() const {
  const auto bound = [this](const char* option, const std::string& text, TimeBound which) {
    try {
      return parse_time_bound(text, which, clock_pair_);
    } catch (const TimeBoundError& error) {
      const std::string hint = clock_pair_ ? "" : "; the clock pair is given with --timesync";
      throw CLI::ValidationError(option, error.what() + hint);
    }
  };
  TimeWindow window;
  if (since_) {
    window.since_us = bound("--since", *since_, TimeBound::kSince);
  }
  if (until_) {
    window.until_us = bound("--until", *until_, TimeBound::kUntil);
  }
  return window;
}

}  // namespace hub::tools
