// SPDX-License-Identifier: Apache-2.0
// Records as a capture file that network analysers read (pcapng): one packet per record, its 48 bytes as they came.
//
// All numbers are little-endian. A section header, the description of one interface with link type USER0, then a packet
// block of 80 bytes per record. Times are in microseconds: since the epoch where the clocks can be related, else those
// of the co-processor's own clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "host/captures/clock_sources.h"
#include "host/records/record_format.h"

namespace hub::host {

// What the file tells of where its records come from.
struct PcapngOrigin {
  std::string application;              // what writes the file, UTF-8; empty: not told
  std::string device = "hub0";          // the interface's name, UTF-8
  std::optional<ClockPair> clock_pair;  // relates the co-processor's clock to calendar time
};

// The longest text of an origin.
inline constexpr std::size_t kMaxPcapngTextBytes = 0xFFFF;

// Every record has this form. It depends on no record before it.
class PcapngFormat : public RecordFormat {
 public:
  // Throws std::length_error, which names the text, when one is longer than kMaxPcapngTextBytes.
  explicit PcapngFormat(PcapngOrigin origin);

  void begin(TextBuffer& out) override;
  bool append(const _HubProfileReport& report, TextBuffer& out) override;

 private:
  PcapngOrigin origin_;
};

// The calendar time of a co-processor time, both in microseconds. As in a line: unsigned and wrapping, so a record from
// before the pair's origin lies far ahead. [any thread]
std::uint64_t calendar_time_us(const ClockPair& pair, std::uint64_t timestamp_us);

}  // namespace hub::host
