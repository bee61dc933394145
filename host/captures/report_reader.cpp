// SPDX-License-Identifier: Apache-2.0
#include "host/captures/report_reader.h"

#include <cstring>

namespace hub::host {
namespace {

const char* what_happened(ByteOrigin origin) {
  switch (origin) {
    case ByteOrigin::kSame:
      break;
    case ByteOrigin::kNextFile:
      return "was replaced";
    case ByteOrigin::kCutFile:
      return "was cut short";
    case ByteOrigin::kNextWriter:
      return "was closed by its writer";
  }
  return "";
}

}  // namespace

std::span<const _HubProfileReport> ReportReader::next() {
  take_back();
  while (filled_bytes_ < kReportSize) {
    if (!read_more()) {
      return {};
    }
  }
  const std::size_t whole = filled_bytes_ / kReportSize;
  handed_out_bytes_ = whole * kReportSize;
  offset_bytes_ += handed_out_bytes_;
  return std::span(block_).first(whole);
}

bool ReportReader::would_wait() {
  take_back();
  while (filled_bytes_ < kReportSize) {
    if (!at_end_ && source_.would_wait()) {
      return true;
    }
    if (!read_more()) {
      return false;
    }
  }
  return false;
}

// What was handed out makes room; what has begun behind it is its start.
void ReportReader::take_back() {
  const auto bytes = block_bytes();
  filled_bytes_ -= handed_out_bytes_;
  std::memmove(bytes.data(), bytes.data() + handed_out_bytes_, filled_bytes_);
  handed_out_bytes_ = 0;
}

// To what has begun of a report. False at the end.
bool ReportReader::read_more() {
  if (at_end_) {
    return false;
  }
  const ReadBytes more = source_.read_some(block_bytes().subspan(filled_bytes_));
  if (more.origin != ByteOrigin::kSame) {
    begin_anew(more.origin, more.length_bytes);
  }
  filled_bytes_ += more.length_bytes;
  at_end_ = more.length_bytes == 0;
  return !at_end_;
}

// The bytes behind those of a report that has begun are the first of another.
void ReportReader::begin_anew(ByteOrigin origin, std::size_t length_bytes) {
  if (filled_bytes_ > 0) {
    if (dropped_) {
      dropped_(std::string(what_happened(origin)) + " inside a record: at offset " +
               std::to_string(offset_bytes_ - begun_at_bytes_) + ", " + std::to_string(filled_bytes_) +
               (filled_bytes_ == 1 ? " byte is" : " bytes are") + " dropped of the " + std::to_string(kReportSize) +
               " that a record has");
    }
    const auto bytes = block_bytes();
    std::memmove(bytes.data(), bytes.data() + filled_bytes_, length_bytes);
    filled_bytes_ = 0;
  }
  begun_at_bytes_ = offset_bytes_;
}

}  // namespace hub::host
