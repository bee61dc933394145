// SPDX-License-Identifier: Apache-2.0
#include "host/report_reader.h"

#include <cstring>

#include "host/descriptor.h"

namespace hub::host {

std::span<const _HubProfileReport> ReportReader::next() {
  const auto bytes = std::as_writable_bytes(std::span(block_));
  filled_bytes_ -= handed_out_bytes_;
  std::memmove(bytes.data(), bytes.data() + handed_out_bytes_, filled_bytes_);
  handed_out_bytes_ = 0;
  while (filled_bytes_ < kReportSize) {
    const std::size_t length = read_some(descriptor_, bytes.subspan(filled_bytes_));
    if (length == 0) {
      return {};
    }
    filled_bytes_ += length;
  }
  const std::size_t whole = filled_bytes_ / kReportSize;
  handed_out_bytes_ = whole * kReportSize;
  offset_bytes_ += handed_out_bytes_;
  return std::span(block_).first(whole);
}

}  // namespace hub::host
