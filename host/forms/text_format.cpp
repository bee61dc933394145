// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include "host/text/utf8_text.h"
#include "profile/NEBLogDecoder.h"

namespace hub::host {

bool TextFormat::append(const _HubProfileReport& report, std::string& out) {
  const std::size_t length_before = out.size();
  NEBLogDecoder::append_line(report, out);
  const std::string_view line = std::string_view(out).substr(length_before);
  if (utf8_prefix_bytes(line) != line.size()) {
    out.resize(length_before);
    return false;
  }
  out += '\n';
  return true;
}

}  // namespace hub::host
