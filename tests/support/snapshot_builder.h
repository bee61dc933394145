// SPDX-License-Identifier: Apache-2.0
// Snapshot records for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace hub::test {

inline std::string little_endian_u32(std::uint32_t value) {
  std::string bytes;
  for (int index = 0; index < 4; ++index, value >>= 8U) {
    bytes += static_cast<char>(value);
  }
  return bytes;
}

// A record of this title, cut to its field, with this data.
inline std::string snapshot_record(std::string_view title, std::string_view data) {
  constexpr std::size_t kTitleSize = 64;
  std::string field(title.substr(0, kTitleSize));
  field.resize(kTitleSize);
  return little_endian_u32(1) + little_endian_u32(static_cast<std::uint32_t>(data.size())) + std::string(128, '\0') +
         field + std::string(data);
}

}  // namespace hub::test
