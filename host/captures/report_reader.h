// SPDX-License-Identifier: Apache-2.0
// Raw profile reports from a file, a pipe or any source of bytes, as soon as they are whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "host/captures/byte_source.h"
#include "profile/profile_report.h"

namespace hub::host {

inline constexpr std::size_t kReportSize = sizeof(_HubProfileReport);

// Reads in blocks: memory does not grow with the input.
class ReportReader {
 public:
  // Told, in a sentence without its subject and without an end, of a report that will never be whole because its source
  // begins anew: "was replaced inside a record: at offset 96, 20 bytes are dropped of the 48 that a record has". The
  // offset is that of the record in what was replaced.
  using DropListener = std::function<void(const std::string&)>;

  // Neither the descriptor nor the source is owned.
  explicit ReportReader(int descriptor) : descriptor_(descriptor), source_(descriptor_) {}
  explicit ReportReader(ByteSource& source, DropListener dropped = {})
      : source_(source), dropped_(std::move(dropped)) {}
  ReportReader(const ReportReader&) = delete;
  ReportReader& operator=(const ReportReader&) = delete;
  ~ReportReader() = default;

  // The next whole reports, valid until the next call of this or of would_wait(): all that the input has delivered, up
  // to a block. Waits until there is at least one. Empty at the end, and from then on. Throws std::system_error when
  // the input cannot be read.
  std::span<const _HubProfileReport> next();

  // Whether next() would have to wait at this moment, so that what is held back can be written before. Reads what is
  // there of a report; throws as next() does. May be true when next() would not wait, never the other way round.
  bool would_wait();

  // How many bytes have been handed out as reports.
  [[nodiscard]] std::uint64_t offset_bytes() const { return offset_bytes_; }

  // At the end: how many bytes of a report that is not whole came last.
  [[nodiscard]] std::size_t left_over_bytes() const { return filled_bytes_; }

 private:
  static constexpr std::size_t kBlockReports = 1365;  // just under 64 KiB

  [[nodiscard]] std::span<std::byte> block_bytes() { return std::as_writable_bytes(std::span(block_)); }
  void take_back();
  bool read_more();
  void begin_anew(ByteOrigin origin, std::size_t length_bytes);

  DescriptorSource descriptor_{-1};
  ByteSource& source_;
  DropListener dropped_;
  std::uint64_t offset_bytes_ = 0;
  std::uint64_t begun_at_bytes_ = 0;  // offset_bytes_ where the source last began anew
  bool at_end_ = false;
  std::size_t handed_out_bytes_ = 0;  // of the block, by the last call
  std::size_t filled_bytes_ = 0;      // of the block
  std::array<_HubProfileReport, kBlockReports> block_;
};

}  // namespace hub::host
