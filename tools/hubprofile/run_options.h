// SPDX-License-Identifier: Apache-2.0
// The options that all of hubprofile's commands share about a run: the captures, the output, what is told.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/captures/profile_run.h"

namespace hub::tools {

class RunOptions {
 public:
  // Any number of captures that are read as one run, or two that are compared.
  void describe_captures(CLI::App& app);
  void describe_two_captures(CLI::App& app);
  void describe_output(CLI::App& app);
  void describe_following(CLI::App& app);

  // Refuses any number of captures but two, and two that are both standard input. Throws CLI::ParseError.
  void check_two_captures() const;

  // Refuses captures that look like options: CLI11 takes a word such as -1 for a FILE, which it is only behind "--".
  // `words` are the command line's. Throws CLI::ParseError.
  void check(const std::vector<std::string>& words) const;

  [[nodiscard]] host::ProfileRunOptions get() const;

 private:
  std::vector<std::string> captures_;
  std::optional<std::string> output_;
  std::optional<host::ProgressWhen> progress_;
  bool fails_on_loss_ = false;
  bool follows_ = false;
  std::optional<double> idle_timeout_s_;
};

}  // namespace hub::tools
