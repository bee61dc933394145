// SPDX-License-Identifier: Apache-2.0
// write_trace: profile reports on standard input, their trace on standard output. For tests that read traces with
// programs of others.
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>

#include "host/profile/trace_format.h"
#include "host/report_reader.h"

namespace {

using namespace hub::host;

void write_out(std::string& text) {
  std::cout << text;
  text.clear();
}

void write_trace() {
  TraceFormat format;
  ReportReader reader(STDIN_FILENO);
  std::string text;
  format.begin(text);
  for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
    for (const _HubProfileReport& report : reports) {
      format.append(report, text);
    }
    write_out(text);
  }
  format.end(text);
  write_out(text);
}

}  // namespace

int main() {
  try {
    write_trace();
    return std::cout.flush().good() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "write_trace: " << error.what() << "\n";
    return 1;
  }
}
