// SPDX-License-Identifier: Apache-2.0
#include "host/report_lines.h"

#include "host/profile/text_format.h"

namespace hub::host {

std::size_t append_lines(std::span<const _HubProfileReport> reports, std::string& text) {
  TextFormat format;
  std::size_t without_line = 0;
  for (const _HubProfileReport& report : reports) {
    without_line += format.append(report, text) ? 0 : 1;
  }
  return without_line;
}

}  // namespace hub::host
