// SPDX-License-Identifier: Apache-2.0
// What the co-processor delivers, short, over-long and refused: each property, command and method that a snapshot is
// made of.
#include <algorithm>
#include <set>

#include "hub_ids.h"
#include "tests/reliability/calls/failing_calls_consequences.h"
#include "tests/reliability/calls/failing_calls_world.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

constexpr std::size_t kReportLength = sizeof(_HubProfileReport);
constexpr std::size_t kReports = 32;  // as many as are asked for at once
constexpr std::size_t kClientLength = 31;

// Where a reply comes from.
using Replies = std::map<std::uint32_t, Reply>& (*)(World& world);
std::map<std::uint32_t, Reply>& properties(World& world) { return world.driver.properties; }
std::map<std::uint32_t, Reply>& commands(World& world) { return world.driver.commands; }
std::map<std::uint32_t, Reply>& firmware(World& world) { return world.firmware_methods; }
std::map<std::uint32_t, Reply>& profile_driver(World& world) { return world.profile_driver_methods; }

struct ReplyRow;

// What is right when so many bytes came, when more are announced than there is room for, and when it was refused.
struct Rule {
  Outcome (*shortened)(const ReplyRow& row, const Outcome& full, const Outcome& zeros, std::size_t length);
  Outcome (*over_long)(const ReplyRow& row, const Outcome& full);
  Outcome (*refused)(const ReplyRow& row, const Outcome& full, const Outcome& zeros, std::int32_t code);
};

struct ReplyRow {
  const char* scenario;
  Replies replies;
  std::uint32_t number;
  std::size_t length;
  const Rule* rule;
  const char* key = "";  // the entry that shows it
  int line = 0;          // at which it is told that it was refused
};

Outcome without_snapshot(Outcome outcome, const std::string& log) {
  outcome["snapshot"] = "none";
  erase_beginning(outcome, "entry ");
  erase_beginning(outcome, "line ");
  outcome["log"] = log;
  return outcome;
}

Outcome with_entry(Outcome outcome, const ReplyRow& row, const std::string& value) {
  outcome[std::string("entry ") + row.key] = value;
  return outcome;
}

std::string told(const std::string& prefix, const std::string& expression, const std::string& text, int line,
                 const std::string& value, std::int32_t code) {
  return filled_in("default: " + prefix + ": AssertMacros: " + expression + ", " + text +
                       " file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics, line: " +
                       std::to_string(line) + " value:" + value + "\n",
                   code);
}

Outcome as_full(const ReplyRow&, const Outcome& full) { return full; }
Outcome no_snapshot(const ReplyRow&, const Outcome& full, const Outcome&, std::int32_t) {
  return without_snapshot(full, "");
}
Outcome as_zeros(const ReplyRow&, const Outcome&, const Outcome& zeros, std::int32_t) { return zeros; }

// The bytes that did not come are zeros, which the caller puts into `zeros`.
constexpr Rule kZerosAreShown = {
    [](const ReplyRow&, const Outcome&, const Outcome& zeros, std::size_t) { return zeros; }, as_full, as_zeros};

constexpr Rule kStatistics = {[](const ReplyRow&, const Outcome&, const Outcome& zeros, std::size_t) { return zeros; },
                              as_full, no_snapshot};

constexpr Rule kWhole = {[](const ReplyRow&, const Outcome& full, const Outcome&, std::size_t) {
                           return without_snapshot(full, told("", "propertyLength >= sizeof(assets)", "", 632, "0", 0));
                         },
                         as_full, no_snapshot};

constexpr Rule kChecked = {
    [](const ReplyRow& row, const Outcome& full, const Outcome&, std::size_t) { return with_entry(full, row, "-1"); },
    [](const ReplyRow& row, const Outcome& full) { return with_entry(full, row, "-1"); },
    [](const ReplyRow& row, const Outcome& full, const Outcome&, std::int32_t) { return with_entry(full, row, "-1"); }};

constexpr Rule kInterval = {
    [](const ReplyRow& row, const Outcome& full, const Outcome&, std::size_t) { return with_entry(full, row, "0"); },
    [](const ReplyRow& row, const Outcome& full) { return with_entry(full, row, "0"); },
    [](const ReplyRow&, const Outcome& full, const Outcome&, std::int32_t code) {
      return without_snapshot(full, told("{text}", "result == 0 ", "", 917, "0", code));
    }};

// Whole records only.
Outcome first_clients(const ReplyRow&, const Outcome& full, const Outcome&, std::size_t length) {
  Outcome outcome = full;
  for (std::size_t client = length / kClientLength; client < 16; ++client) {
    outcome.erase("entry client" + std::to_string(client));
  }
  return outcome;
}
constexpr Rule kClients = {first_clients, as_full, no_snapshot};

Outcome first_reports(const ReplyRow&, const Outcome& full, const Outcome&, std::size_t length) {
  const std::size_t count = length / kReportLength;
  if (count == 0) {
    return without_snapshot(full, "");
  }
  Outcome outcome = full;
  for (std::size_t number = count + 1; number <= kReports; ++number) {
    outcome.erase("line " + std::to_string(number));
  }
  outcome["snapshot"] = replaced(full.at("snapshot"), "count=32", "count=" + std::to_string(count));
  return outcome;
}
Outcome told_as_failed_call(const ReplyRow& row, const Outcome& full, const Outcome&, std::int32_t code) {
  return without_snapshot(full, told("", "kr == 0 ", "{text}", row.line, "{code}", code));
}
constexpr Rule kReportRows = {first_reports, as_full, told_as_failed_call};

// It delivers nothing: only a refusal is seen.
constexpr Rule kNoOutput = {nullptr, nullptr, told_as_failed_call};

// The entries of a stream are what was complete: another stream's entries stay, with other numbers.
constexpr Rule kStream = {nullptr, as_full, as_zeros};

constexpr ReplyRow kRows[] = {
    {"capture.sshb_statistics", properties, 215, 330, &kStatistics},
    {"capture.sshb_assets", properties, 216, 1479, &kWhole},
    {"capture.sensor_info", properties, 0, 4, &kInterval, "reportInterval"},
    {"capture.sensor_info", properties, 10, 4, &kChecked, "rawMode"},
    {"capture.sensor_info", properties, 11, 36, &kZerosAreShown},
    {"capture.sensor_info", properties, 13, 4, &kChecked, "factoryMode"},
    {"capture.sensor_info", properties, 15, 32, &kZerosAreShown},
    {"capture.sensor_info", properties, 16, 32, &kZerosAreShown},
    {"capture.sensor_info", properties, 24, 9, &kZerosAreShown},
    {"capture.sensor_info", properties, 25, 4, &kChecked, "intCal"},
    {"capture.sensor_info", properties, 26, 12, &kZerosAreShown},
    {"capture.sensor_info", properties, 29, 36, &kZerosAreShown},
    {"capture.sensor_info", properties, 36, 4, &kChecked, "decimationEnabled"},
    {"capture.sensor_info", properties, 45, 4, &kChecked, "startupTime"},
    {"capture.sensor_info", properties, 56, 128, &kZerosAreShown},
    {"capture.sensor_info", properties, 57, 256, &kStream},
    {"capture.sensor_info", properties, 58, 256, &kStream},
    {"capture.sensor_info", properties, 59, 256, &kStream},
    {"capture.sensor_info", properties, 60, 256, &kStream},
    {"capture.sensor_info", properties, 61, 4, &kChecked, "calibrationComplete"},
    {"capture.sensor_info", properties, 64, 4, &kChecked, "systickInterval"},
    {"capture.sensor_info", properties, 67, 20, &kZerosAreShown},
    {"capture.sensor_info", properties, 68, 5, &kZerosAreShown},
    {"capture.sensor_info", commands, 57, 496, &kClients},
    {"capture.raw_debug_firmware", firmware, 3, 0, &kNoOutput, "", 1222},
    {"capture.raw_debug_firmware", firmware, 2, kReports* kReportLength, &kReportRows, "", 1248},
    {"capture.raw_debug_driver", profile_driver, kDriverReportsMethod, kReports* kReportLength, &kReportRows, "", 1197},
    {"capture.raw_debug_errors", profile_driver, kErrorReportsMethod, kReports* kReportLength, &kReportRows, "", 1197},
};

std::string many_reports() {
  std::string bytes;
  for (unsigned number = 1; number <= kReports; ++number) {
    const _HubProfileReport one = report(number % 13, 1, 1, 1).sequence(number).time_us(number);
    bytes.append(reinterpret_cast<const char*>(&one), sizeof one);
  }
  return bytes;
}

// The runs of one row.
class RowRuns {
 public:
  RowRuns(const ReplyRow& row, const Scenario& scenario, Tally& tally)
      : row_(row),
        scenario_(scenario),
        tally_(tally),
        bytes_(bytes_of_row()),
        full_(outcome({bytes_}, "the full reply")) {}

  void shortened() {
    if (row_.rule->shortened == nullptr) {
      return;
    }
    for (const std::size_t length : std::set<std::size_t>{0, 1, row_.length / 2, row_.length - 1}) {
      std::string padded = bytes_.substr(0, length);
      padded.resize(bytes_.size());
      const Outcome zeros = outcome({padded}, "zeros behind");
      expect(outcome({bytes_.substr(0, length)}, "short"), row_.rule->shortened(row_, full_, zeros, length),
             std::to_string(length) + " bytes");
    }
  }

  // Only the stream's own entries differ, and they are no more than they were.
  void cut_stream() {
    if (row_.rule != &kStream) {
      return;
    }
    for (const std::size_t length : std::set<std::size_t>{0, 1, row_.length / 2, row_.length - 1}) {
      Outcome seen = outcome({bytes_.substr(0, length)}, "cut");
      Outcome expected = full_;
      const std::size_t entries = seen.size();
      erase_beginning(seen, "entry extra");
      erase_beginning(expected, "entry extra");
      expect(seen, expected, std::to_string(length) + " bytes");
      if (entries > full_.size()) {
        complain(std::to_string(length) + " bytes", "more entries than in the whole stream");
      }
    }
  }

  void over_long() {
    if (row_.rule->over_long == nullptr) {
      return;
    }
    for (const std::size_t surplus : {std::size_t{1}, row_.length, std::size_t{1} << 31U, SIZE_MAX - row_.length}) {
      expect(outcome({bytes_, kIOReturnSuccess, surplus}, "over-long"), row_.rule->over_long(row_, full_),
             std::to_string(surplus) + " bytes more announced");
    }
  }

  void refused() {
    const Outcome zeros = outcome({std::string(row_.rule == &kStream ? 0 : bytes_.size(), '\0')}, "zeros");
    for (const std::int32_t code : codes_of(platform::Fallible::kIOConnectCallMethod)) {
      // What a refusal writes is no reply; its length least of all.
      expect(outcome({"", code, SIZE_MAX}, "refused"), row_.rule->refused(row_, full_, zeros, code),
             "refused with code " + std::to_string(code));
    }
  }

 private:
  // As the world answers it; of raw debug data as much as there is room for.
  std::string bytes_of_row() const {
    if (row_.rule == &kNoOutput) {
      return "";
    }
    if (row_.rule == &kReportRows) {
      return many_reports();
    }
    AnsweringDriver driver;
    answer_everything(driver);
    return (row_.replies == commands ? driver.commands : driver.properties).at(row_.number).bytes;
  }

  Outcome outcome(const Reply& answer, const std::string& what) {
    const Run result = run(scenario_, {}, [&](World& world) { row_.replies(world)[row_.number] = answer; });
    ++tally_.runs;
    if (!result.ended.empty()) {
      complain(what, "the process ended " + result.ended);
    }
    return result.seen;
  }

  void expect(const Outcome& seen, const Outcome& expected, const std::string& when) {
    for (const std::string& difference : differences(seen, expected)) {
      complain(when, difference);
    }
  }

  void complain(const std::string& when, const std::string& what) {
    tally_.wrong.push_back(std::string(row_.scenario) + " " + std::to_string(row_.number) + ", " + when + ": " + what);
  }

  const ReplyRow& row_;
  const Scenario& scenario_;
  Tally& tally_;
  std::string bytes_;
  Outcome full_;
};

}  // namespace

Tally run_bad_replies(const std::vector<Scenario>& captures) {
  Tally tally;
  for (const ReplyRow& row : kRows) {
    const auto scenario = std::find_if(captures.begin(), captures.end(),
                                       [&](const Scenario& candidate) { return candidate.name == row.scenario; });
    RowRuns runs(row, *scenario, tally);
    runs.shortened();
    runs.cut_stream();
    runs.over_long();
    runs.refused();
  }
  return tally;
}

}  // namespace hub::test
