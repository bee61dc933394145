// SPDX-License-Identifier: Apache-2.0
// summarise: the figures of the capture on standard input as JSON, for programs that work them out in another way.
#include <unistd.h>

#include <iostream>

#include "host/profile/summary_json.h"
#include "host/report_reader.h"

int main() {
  hub::host::ReportReader reader(STDIN_FILENO);
  hub::host::CaptureSummary summary;
  for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
    for (const _HubProfileReport& report : reports) {
      summary.see(report);
    }
  }
  std::cout << hub::host::summary_json(summary);
  return 0;
}
