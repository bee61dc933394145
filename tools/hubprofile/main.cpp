// SPDX-License-Identifier: Apache-2.0
// hubprofile: decodes captures of profile reports. Arguments and exit status; the work is in host/.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/capture_decode.h"
#include "host/clock_sources.h"

namespace {

using namespace hub::host;

constexpr int kFailed = 1;
constexpr int kUsageError = 2;

struct Arguments {
  CaptureDecodeOptions decode;
  std::optional<ClockPair> clock_pair;
  std::optional<BootTime> boot_time;
  std::optional<std::string> output;
  std::optional<ProgressWhen> progress;
};

// An option whose text `parse` turns into `value`; what was `expected` is told when it cannot.
template <typename Value, typename Parse>
CLI::Option* add_parsed_option(CLI::App& app, const std::string& name, std::optional<Value>& value, Parse parse,
                               const std::string& expected, const std::string& description) {
  return app.add_option_function<std::string>(
      name,
      [&value, name, parse, expected](const std::string& text) {
        value = parse(text);
        if (!value) {
          throw CLI::ValidationError(name.substr(name.find("--")), "expected " + expected + ", not \"" + text + "\"");
        }
      },
      description);
}

std::optional<std::string> parse_file_name(const std::string& name) {
  return name.empty() ? std::nullopt : std::optional(name);
}

std::optional<ProgressWhen> parse_progress_when(const std::string& word) {
  static const std::map<std::string, ProgressWhen> kWords = {
      {"auto", ProgressWhen::kAuto}, {"always", ProgressWhen::kAlways}, {"never", ProgressWhen::kNever}};
  const auto known = kWords.find(word);
  return known != kWords.end() ? std::optional(known->second) : std::nullopt;
}

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
  add_parsed_option(app, "-o,--output", arguments.output, parse_file_name, "FILE, a name that is not empty",
                    "Write there instead of standard output; the file appears only\nwhen it is complete")
      ->type_name("FILE");
  add_parsed_option(app, "--progress", arguments.progress, parse_progress_when, "auto, always or never",
                    "Show progress on standard error: auto (on a terminal, for files),\nalways or never")
      ->type_name("WHEN");
}

// The words as CLI11 takes them, last first. It would take one in brackets apart as a list; "./" in front makes it
// another name of the same file.
std::vector<std::string> reversed_words(int count, char** words) {
  std::vector<std::string> reversed;
  for (int index = count - 1; index > 0; --index) {
    const std::string word = words[index];
    reversed.push_back(word.starts_with('[') ? "./" + word : word);
  }
  return reversed;
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
  try {
    const std::vector<std::string> reversed = reversed_words(count, words);
    app.parse(std::vector(reversed));
    refuse_options_among(arguments.decode.inputs, reversed);
  } catch (const CLI::Success& request) {  // --help, --version
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    std::cerr << "hubprofile: " << error.what() << "\nTry hubprofile --help.\n";
    return kUsageError;
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

// A standard stream that the parent closed would otherwise be the number of the next file opened, and messages would
// land in that file. Opened the wrong way round, so that using it still fails.
void occupy_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace

int main(int count, char** words) {
  occupy_standard_descriptors();
  // A reader that goes away and a file that grows beyond the limit are seen as failed writes.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(count, words);
  } catch (const std::exception& error) {
    std::cerr << "hubprofile: " << error.what() << "\n";
    return kFailed;
  }
}
