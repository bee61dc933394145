// SPDX-License-Identifier: Apache-2.0
// hubsession: plays device files to the plug-in. Arguments and exit status; the work is in host/.
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "host/captures/clock_sources.h"
#include "host/device/device_file.h"
#include "host/session/capture_writer.h"
#include "host/session/ledger_report.h"
#include "host/session/plugin_loader.h"
#include "host/session/session.h"
#include "host/session/snapshot_file.h"
#include "host/session/snapshot_text.h"
#include "tools/command_line.h"

namespace {

using namespace hub::host;
using namespace hub::tools;
using hub::platform::LowestLogLevel;

constexpr Word<LowestLogLevel> kLogLevels[] = {
    {"default", LowestLogLevel::kDefault},
    {"error", LowestLogLevel::kError},
    {"fault", LowestLogLevel::kFault},
    {"off", LowestLogLevel::kOff},
};

std::optional<LowestLogLevel> parse_log_level(const std::string& word) { return value_of(kLogLevels, word); }

// Whether two names lead to the same file, or would if there were one.
bool is_same_file(const std::string& one, const std::string& other) {
  namespace fs = std::filesystem;
  std::error_code error;
  return fs::equivalent(one, other, error) ||
         fs::weakly_canonical(fs::absolute(one), error) == fs::weakly_canonical(fs::absolute(other), error);
}

// One subcommand: its words, and what it does.
class Run {
 public:
  void describe(CLI::App& app) {
    app.add_option("DEVICE", device_, "The device file to play")->required()->type_name("");
    add_parsed_option(app, "--plugin", plugin_, parse_file_name, kFileNameExpected,
                      "The plug-in's library. Default: the one that was built or\ninstalled with this program")
        ->type_name("FILE");
    add_parsed_option(app, "--ledger", options_.ledger, parse_file_name, kFileNameExpected,
                      "The statistics database: made when it is missing, added to when\nit exists. Default: in memory")
        ->type_name("FILE");
    add_parsed_option(app, "--log", options_.log, parse_file_name, kFileNameExpected,
                      "Where the plug-in's log goes, one JSON object a line; replaced")
        ->type_name("FILE");
    add_parsed_option(app, "--log-level", log_level_, parse_log_level, "default, error, fault or off",
                      "The lowest level that is logged: default, error, fault or off")
        ->type_name("LEVEL");
    app.add_option_function<std::vector<std::string>>(
           "--capture", [this](const std::vector<std::string>& kinds) { set_captures(kinds); },
           "Capture state: 1 for an error, 2 for a fault, 3 for an explicit\nrequest; again for another capture. "
           "Default: 3")
        ->type_name("KIND")
        ->allow_extra_args(false);
    add_parsed_option(
        app, "--out", options_.captures_folder, parse_file_name, "DIR, a name that is not empty",
        "The folder for the snapshots: new, empty, or one that holds an\nearlier capture, which is replaced")
        ->type_name("DIR");
    add_parsed_option(app, "--boot-time", boot_time_, parse_boot_time, "\"none\", or microseconds from 0 to 2^63 - 1",
                      "The boot time in microseconds; none: it cannot be had.\nDefault: this machine's")
        ->type_name("US|none");
    app.callback([this] { expect_log_apart(); });
  }

  int operator()() {
    const Device device = read_device_file(device_);
    options_.plugin = plugin_ ? *plugin_ : default_plugin();
    options_.log_level = log_level_.value_or(LowestLogLevel::kDefault);
    if (boot_time_) {
      publish_boot_time(*boot_time_);
    }
    return run_session(device, options_, std::cout, std::cerr) ? kDone : kFailed;
  }

 private:
  void set_captures(const std::vector<std::string>& kinds) {
    options_.captures.clear();
    for (const std::string& kind : kinds) {
      if (kind != "1" && kind != "2" && kind != "3") {
        throw CLI::ValidationError("--capture", "expected 1, 2 or 3, not \"" + kind + "\"");
      }
      options_.captures.push_back(static_cast<std::uint32_t>(kind.front() - '0'));
    }
  }

  // The log replaces what is there: nothing may be lost by it that the run needs.
  void expect_log_apart() const {
    for (const std::optional<std::string>& other : {std::optional(device_), plugin_, options_.ledger}) {
      if (options_.log && other && is_same_file(*options_.log, *other)) {
        throw CLI::ValidationError(
            "--log", "expected a file that the run does not need otherwise, not \"" + *options_.log + "\"");
      }
    }
  }

  std::string device_;
  std::optional<std::string> plugin_;
  std::optional<LowestLogLevel> log_level_;
  std::optional<BootTime> boot_time_;
  SessionOptions options_;
};

class Ledger {
 public:
  void describe(CLI::App& app) {
    app.add_option("FILE", file_, "The statistics database")->required()->type_name("");
    app.add_flag("--json", json_, "One JSON object, for tools");
  }

  int operator()() const {
    const auto contents = hub::platform::read_ledger(file_);
    std::cout << (json_ ? ledger_json(contents) : ledger_text(contents));
    return kDone;
  }

 private:
  std::string file_;
  bool json_ = false;
};

class Show {
 public:
  void describe(CLI::App& app) {
    app.add_option("FILE", files_, "Snapshots to show")->required()->type_name("");
    app.add_flag("--json", json_, "One JSON object a snapshot, for tools");
  }

  int operator()() const {
    for (const std::string& file : files_) {
      const Snapshot snapshot = read_snapshot_file(file);
      std::cout << (json_ ? snapshot_json(snapshot) : snapshot_text(snapshot));
    }
    return kDone;
  }

 private:
  std::vector<std::string> files_;
  bool json_ = false;
};

int run(int count, char** words) {
  CLI::App app("Plays device files to the co-processor's plug-in.", "hubsession");
  app.set_version_flag("--version", "hubsession " HUB_VERSION);
  app.require_subcommand(1);
  CLI::App& run_words = *app.add_subcommand("run", "Play a device file: announce its services, post its statistics");
  CLI::App& ledger_words = *app.add_subcommand("ledger", "Show what a statistics database holds");
  CLI::App& show_words = *app.add_subcommand("show", "Show the snapshots of a state capture");
  Run run_device;
  Ledger show_ledger;
  Show show_snapshots;
  run_device.describe(run_words);
  show_ledger.describe(ledger_words);
  show_snapshots.describe(show_words);
  if (const auto exit_status = parse_command_line(app, [&] { app.parse(reversed_words(count, words)); })) {
    return *exit_status;
  }
  try {
    const int status = run_words.parsed() ? run_device() : ledger_words.parsed() ? show_ledger() : show_snapshots();
    std::cout.flush();
    if (!std::cout) {
      std::cerr << "hubsession: standard output cannot be written\n";
      return kFailed;
    }
    return status;
  } catch (const DeviceFileError& error) {
    std::cerr << "hubsession: " << error.what() << "\n";
    return kUsageError;
  } catch (const CaptureFolderError& error) {
    std::cerr << "hubsession: " << error.what() << "\n";
    return kUsageError;
  }
}

}  // namespace

int main(int count, char** words) {
  return run_command("hubsession", [=] { return run(count, words); });
}
