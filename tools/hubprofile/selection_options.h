// SPDX-License-Identifier: Apache-2.0
// The options that all of hubprofile's commands share about records: which of them, and how clocks relate.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

#include "host/captures/clock_sources.h"
#include "host/filter/record_filter.h"
#include "host/filter/time_window.h"
#include "profile/profile_report.h"

namespace hub::tools {

class SelectionOptions {
 public:
  // Which records: --where, --since, --until, and the clock pair for times of the calendar.
  void describe_records(CLI::App& app);

  // What lines carry besides.
  void describe_boot_time(CLI::App& app);

  // After the command line was read: makes the clocks known to the decoder, and gives which records are wanted (empty:
  // all). Throws CLI::ValidationError when an expression or a time is wrong.
  [[nodiscard]] std::function<bool(const _HubProfileReport&)> apply() const;

  // Whether records are selected at all.
  [[nodiscard]] bool selects() const { return where_ || since_ || until_; }

  [[nodiscard]] const std::optional<host::ClockPair>& clock_pair() const { return clock_pair_; }

 private:
  [[nodiscard]] std::optional<host::RecordFilter> filter_or_refuse() const;
  [[nodiscard]] host::TimeWindow window_or_refuse() const;

  std::optional<std::string> where_;
  std::optional<std::string> since_;
  std::optional<std::string> until_;
  std::optional<host::ClockPair> clock_pair_;
  std::optional<host::BootTime> boot_time_;
};

}  // namespace hub::tools
