// SPDX-License-Identifier: Apache-2.0
// Raw profile reports from a file or a pipe, as soon as they are whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "profile/profile_report.h"

namespace hub::host {

inline constexpr std::size_t kReportSize = sizeof(_HubProfileReport);

// Reads a descriptor, which it does not own, in blocks: memory does not grow with the input.
class ReportReader {
 public:
  explicit ReportReader(int descriptor) : descriptor_(descriptor) {}

  // The next whole reports, valid until the next call: all that the input has delivered, up to a block. Waits until
  // there is at least one. Empty at the end. Throws std::system_error when the input cannot be read.
  std::span<const _HubProfileReport> next();

  // How many bytes have been handed out as reports.
  [[nodiscard]] std::uint64_t offset_bytes() const { return offset_bytes_; }

  // At the end: how many bytes of a report that is not whole came last.
  [[nodiscard]] std::size_t left_over_bytes() const { return filled_bytes_; }

 private:
  static constexpr std::size_t kBlockReports = 1365;  // just under 64 KiB

  int descriptor_;
  std::uint64_t offset_bytes_ = 0;
  std::size_t handed_out_bytes_ = 0;  // of the block, by the last call
  std::size_t filled_bytes_ = 0;      // of the block
  std::array<_HubProfileReport, kBlockReports> block_;
};

}  // namespace hub::host
