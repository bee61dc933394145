// SPDX-License-Identifier: Apache-2.0
// write_pcapng [--device NAME] [--timesync HUB,CALENDAR]: records of standard input to a capture file on standard
// output.
#include <unistd.h>

#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "host/profile/pcapng_format.h"
#include "host/report_reader.h"

namespace {

using namespace hub::host;

PcapngOrigin parse_origin(int argc, char** argv) {
  PcapngOrigin origin{.application = "write_pcapng", .device = "hub0", .clock_pair = {}};
  for (int index = 1; index < argc; index += 2) {
    const std::string option = argv[index];
    const std::string value = index + 1 < argc ? argv[index + 1] : "";
    if (option == "--device") {
      origin.device = value;
    } else if (option == "--timesync") {
      origin.clock_pair = parse_clock_pair(value).value();
    } else {
      throw std::invalid_argument("unknown option " + option);
    }
  }
  return origin;
}

void write_packets(PcapngFormat& format) {
  std::string text;
  format.begin(text);
  ReportReader reader(STDIN_FILENO);
  for (auto reports = reader.next(); !reports.empty(); reports = reader.next()) {
    for (const _HubProfileReport& report : reports) {
      format.append(report, text);
    }
    std::cout << text;
    text.clear();
  }
  format.end(text);
  std::cout << text << std::flush;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    PcapngFormat format(parse_origin(argc, argv));
    write_packets(format);
    return std::cout.good() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "write_pcapng: " << error.what() << "\n";
    return 1;
  }
}
