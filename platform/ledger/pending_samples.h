// SPDX-License-Identifier: Apache-2.0
// Samples that a batch pushes, until they are written together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "ledger/known_keys.h"

namespace hub::platform {

// Samples that stand in no table yet, with the numbers that they have there.
class PendingSamples {
 public:
  struct Distribution {
    std::uint64_t clears = 0;
    bool has_no_rows = false;  // the table's were deleted
  };
  using Entry = KnownKeys<Distribution>::Entry;

  struct Sample {
    std::int64_t id;
    double value;
    const Entry* entry;
    std::uint64_t clears;  // of its key, up to then

    [[nodiscard]] bool is_dropped() const { return clears != entry->second.clears; }
  };

  void push(std::string_view key, std::int64_t id, double value);

  // Drops the key's samples. Whether the table may have others of it: those are to be deleted before anything is pushed
  // or written.
  [[nodiscard]] bool clear(std::string_view key);

  // The number of the newest sample.
  [[nodiscard]] std::optional<std::int64_t> last_id() const;

  // What is to be written, oldest first. Good until the next operation.
  [[nodiscard]] const std::vector<Sample>& rows();

  [[nodiscard]] std::size_t size_bytes() const {
    return keys_.size_bytes() + samples_.size() * sizeof(Sample) + cleared_.size() * sizeof(Entry*);
  }

  // All of it was written, or taken back.
  void forget();

 private:
  KnownKeys<Distribution> keys_;
  std::vector<Sample> samples_;  // the newest is not dropped
  std::vector<Entry*> cleared_;
};

}  // namespace hub::platform
