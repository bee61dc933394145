// SPDX-License-Identifier: Apache-2.0
// hubprofile: decodes captures of profile reports. Arguments and exit status; the work is in host/.
#include <algorithm>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "host/capture_decode.h"
#include "host/clock_sources.h"
#include "tools/command_line.h"

namespace {

using namespace hub::host;
using namespace hub::tools;

struct Arguments {
  CaptureDecodeOptions decode;
  std::optional<ClockPair> clock_pair;
  std::optional<BootTime> boot_time;
  std::optional<std::string> output;
  std::optional<ProgressWhen> progress;
};

constexpr Word<ProgressWhen> kProgressWords[] = {
    {"auto", ProgressWhen::kAuto},
    {"always", ProgressWhen::kAlways},
    {"never", ProgressWhen::kNever},
};

std::optional<ProgressWhen> parse_progress_when(const std::string& word) { return value_of(kProgressWords, word); }

void describe(CLI::App& app, Arguments& arguments) {
  app.set_version_flag("--version", "hubprofile " HUB_VERSION);
  app.add_option("FILE", arguments.decode.inputs, "Captures to decode in turn; none, or -, is standard input")
      ->type_name("");
  add_parsed_option(app, "--timesync", arguments.clock_pair, parse_clock_pair,
                    "HUB,CALENDAR, two signed 64-bit numbers",
                    "The simultaneous clock pair, both in signed 64-bit nanoseconds:\n"
                    "lines carry \"calendar-time\" in the zone of TZ")
      ->type_name("HUB,CALENDAR");
  add_parsed_option(app, "--boot-time", arguments.boot_time, parse_boot_time,
                    "\"none\", or microseconds from 0 to 2^63 - 1",
                    "The boot time in microseconds that lines carry; none: no such item.\nDefault: this machine's")
      ->type_name("US|none");
  add_parsed_option(app, "-o,--output", arguments.output, parse_file_name, kFileNameExpected,
                    "Write there instead of standard output; the file appears only\nwhen it is complete")
      ->type_name("FILE");
  add_parsed_option(app, "--progress", arguments.progress, parse_progress_when, "auto, always or never",
                    "Show progress on standard error: auto (on a terminal, for files),\nalways or never")
      ->type_name("WHEN");
}

// CLI11 takes a word such as -1 for a FILE. It is one only behind "--".
void refuse_options_among(const std::vector<std::string>& inputs, const std::vector<std::string>& words) {
  if (std::find(words.begin(), words.end(), "--") != words.end()) {
    return;
  }
  for (const std::string& input : inputs) {
    if (input.starts_with('-') && input != "-") {
      throw CLI::ExtrasError({input});
    }
  }
}

int run(int count, char** words) {
  CLI::App app("Decodes profile reports: raw 48-byte records, one line of text each.", "hubprofile");
  Arguments arguments;
  describe(app, arguments);
  const auto exit_status = parse_command_line(app, [&] {
    const std::vector<std::string> reversed = reversed_words(count, words);
    app.parse(std::vector(reversed));
    refuse_options_among(arguments.decode.inputs, reversed);
  });
  if (exit_status) {
    return *exit_status;
  }
  if (arguments.clock_pair) {
    publish_clock_pair(*arguments.clock_pair);
  }
  if (arguments.boot_time) {
    publish_boot_time(*arguments.boot_time);
  }
  arguments.decode.output = arguments.output.value_or("");
  arguments.decode.progress = arguments.progress.value_or(ProgressWhen::kAuto);
  return decode_captures(arguments.decode, std::cerr);
}

}  // namespace

int main(int count, char** words) {
  return run_command("hubprofile", [=] { return run(count, words); });
}
