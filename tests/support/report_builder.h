// SPDX-License-Identifier: Apache-2.0
// Profile reports for tests: a report is a header and some numbers and texts at offsets of its payload.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "profile/profile_report.h"

namespace hub::test {

// report(category, component, event, type) is a zero payload, sequence number 0, time 0; the members fill in the rest.
class ReportBuilder {
 public:
  ReportBuilder(unsigned category, unsigned component, unsigned event, unsigned type) {
    report_.category_id = static_cast<std::uint8_t>(category);
    report_.component_id = static_cast<std::uint8_t>(component);
    report_.event_id = static_cast<std::uint8_t>(event);
    report_.type_id = static_cast<std::uint8_t>(type);
  }

  ReportBuilder& sequence(std::uint32_t number) {
    report_.sequence_num = number;
    return *this;
  }
  ReportBuilder& time_us(std::uint64_t timestamp) {
    report_.timestamp = timestamp;
    return *this;
  }
  ReportBuilder& u8(std::size_t at, std::uint64_t value) { return little_endian(at, value, 1); }
  ReportBuilder& u16(std::size_t at, std::uint64_t value) { return little_endian(at, value, 2); }
  ReportBuilder& u32(std::size_t at, std::uint64_t value) { return little_endian(at, value, 4); }
  ReportBuilder& u64(std::size_t at, std::uint64_t value) { return little_endian(at, value, 8); }
  ReportBuilder& text(std::size_t at, std::string_view characters) {
    std::memcpy(report_.payload + at, characters.data(), characters.size());
    return *this;
  }
  // Every byte of the payload.
  ReportBuilder& fill(unsigned byte) {
    std::memset(report_.payload, static_cast<int>(byte), sizeof report_.payload);
    return *this;
  }
  // Payload byte n is n.
  ReportBuilder& count_up() {
    for (std::size_t at = 0; at < sizeof report_.payload; ++at) {
      u8(at, at);
    }
    return *this;
  }

  operator const _HubProfileReport&() const { return report_; }  // NOLINT(google-explicit-constructor)

 private:
  ReportBuilder& little_endian(std::size_t at, std::uint64_t value, std::size_t width_bytes) {
    for (std::size_t index = 0; index < width_bytes; ++index) {
      report_.payload[at + index] = static_cast<std::uint8_t>(value >> (8 * index));
    }
    return *this;
  }

  _HubProfileReport report_{};
};

inline ReportBuilder report(unsigned category, unsigned component, unsigned event, unsigned type) {
  return {category, component, event, type};
}

}  // namespace hub::test
