// SPDX-License-Identifier: Apache-2.0
// Writes the records of standard input in a form, for programs that check the form from outside.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "host/clock_sources.h"
#include "host/output_file.h"
#include "host/profile/csv_format.h"
#include "host/profile/jsonl_format.h"
#include "host/profile/text_format.h"
#include "host/report_reader.h"

namespace {

using namespace hub::host;

std::unique_ptr<RecordFormat> make_format(const std::string& name, const std::string& fields) {
  if (name == "csv") {
    return std::make_unique<CsvFormat>(parse_fields(fields));
  }
  if (name == "jsonl") {
    return std::make_unique<JsonlFormat>();
  }
  return std::make_unique<TextFormat>();
}

void write_records(RecordFormat& format) {
  ReportReader reader(STDIN_FILENO);
  std::string out;
  format.begin(out);
  for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
    for (const _HubProfileReport& report : reports) {
      format.append(report, out);
    }
    write_all(STDOUT_FILENO, out);
    out.clear();
  }
  format.end(out);
  write_all(STDOUT_FILENO, out);
}

}  // namespace

int main(int count, char** words) {
  CLI::App app("Writes records of standard input in a form.");
  std::string format = "text";
  std::string fields(kDefaultFields);
  std::string clock_pair;
  std::string boot_time;
  app.add_option("--format", format)->check(CLI::IsMember({"text", "jsonl", "csv"}));
  app.add_option("--fields", fields);
  app.add_option("--timesync", clock_pair);
  app.add_option("--boot-time", boot_time);
  CLI11_PARSE(app, count, words);
  if (!clock_pair.empty()) {
    publish_clock_pair(parse_clock_pair(clock_pair).value());
  }
  if (!boot_time.empty()) {
    publish_boot_time(parse_boot_time(boot_time).value());
  }
  write_records(*make_format(format, fields));
}
