// SPDX-License-Identifier: Apache-2.0
#include "tools/hubprofile/run_options.h"

#include <algorithm>
#include <chrono>

#include "tools/command_line.h"

namespace hub::tools {
namespace {

using namespace hub::host;

constexpr Word<ProgressWhen> kProgressWords[] = {
    {"auto", ProgressWhen::kAuto},
    {"always", ProgressWhen::kAlways},
    {"never", ProgressWhen::kNever},
};

std::optional<ProgressWhen> parse_progress_when(const std::string& word) { return value_of(kProgressWords, word); }

constexpr double kLongestIdleTimeout_s = 86'400.0 * 365;

std::optional<double> parse_idle_timeout(const std::string& text) {
  const auto seconds = parse_number<double>(text, 0, kLongestIdleTimeout_s);
  return seconds && *seconds > 0 ? seconds : std::nullopt;
}

}  // namespace

void RunOptions::describe_captures(CLI::App& app) {
  app.add_option("FILE", captures_, "Captures to read in turn; none, or -, is standard input")->type_name("");
}

void RunOptions::describe_two_captures(CLI::App& app) {
  app.add_option("FILE", captures_, "The two captures, A and B; - is standard input")->type_name("");
}

void RunOptions::describe_output(CLI::App& app) {
  add_parsed_option(app, "-o,--output", output_, parse_file_name, kFileNameExpected,
                    "Write there instead of standard output; the file appears only\nwhen it is complete")
      ->type_name("FILE");
  add_parsed_option(app, "--progress", progress_, parse_progress_when, "auto, always or never",
                    "Show progress on standard error: auto (on a terminal, for files),\nalways or never")
      ->type_name("WHEN");
  app.add_flag(
      "--fail-on-gap", fails_on_loss_,
      "Exit with 3 when records were lost, repeated or out of order, a\nclock went backwards, or the co-processor "
      "restarted");
}

void RunOptions::describe_following(CLI::App& app) {
  app.add_flag("--follow", follows_,
               "Do not end where the last FILE ends: read on as it grows, is\nreplaced, or gets another writer");
  add_parsed_option(app, "--idle-timeout", idle_timeout_s_, parse_idle_timeout, "seconds above 0, such as 0.5",
                    "End when no record has come for so many seconds")
      ->type_name("S");
}

void RunOptions::check_two_captures() const {
  if (captures_.size() != 2) {
    throw CLI::ValidationError("FILE", "expected two captures, not " + std::to_string(captures_.size()));
  }
  if (captures_[0] == "-" && captures_[1] == "-") {
    throw CLI::ValidationError("FILE", "expected at most one capture from standard input");
  }
}

void RunOptions::check(const std::vector<std::string>& words) const {
  if (std::find(words.begin(), words.end(), "--") != words.end()) {
    return;
  }
  for (const std::string& capture : captures_) {
    if (capture.starts_with('-') && capture != "-") {
      throw CLI::ExtrasError({capture});
    }
  }
}

ProfileRunOptions RunOptions::get() const {
  ProfileRunOptions options;
  options.inputs.names = captures_;
  options.inputs.last.follow = follows_;
  if (idle_timeout_s_) {
    options.inputs.last.idle_timeout = std::chrono::duration<double>(*idle_timeout_s_);
  }
  options.inputs.progress = progress_.value_or(ProgressWhen::kAuto);
  options.output = output_.value_or("");
  options.fails_on_loss = fails_on_loss_;
  return options;
}

}  // namespace hub::tools
