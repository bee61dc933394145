// SPDX-License-Identifier: Apache-2.0
// summarise: the figures of the capture on standard input as JSON, for programs that work them out in another way.
// summarise A B: two captures side by side.
#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "host/descriptor.h"
#include "host/profile/comparison_json.h"
#include "host/profile/summary_json.h"
#include "host/report_reader.h"

namespace {

using namespace hub::host;

CaptureSummary summary_of(int descriptor) {
  ReportReader reader(descriptor);
  CaptureSummary summary;
  for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
    for (const _HubProfileReport& report : reports) {
      summary.see(report);
    }
  }
  return summary;
}

CaptureSummary summary_of(const char* path) {
  const Descriptor descriptor(open(path, O_RDONLY | O_CLOEXEC));
  return summary_of(descriptor.number());
}

}  // namespace

int main(int count, char** words) {
  if (count == 3) {
    const CaptureSummary a = summary_of(words[1]);
    const CaptureSummary b = summary_of(words[2]);
    std::cout << comparison_json({words[1], a}, {words[2], b});
  } else {
    std::cout << summary_json(summary_of(STDIN_FILENO));
  }
  return 0;
}
