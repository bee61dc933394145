// SPDX-License-Identifier: Apache-2.0
// What a batch does to scalars, folded: however often a key is named, one row is left to write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ledger/known_keys.h"

namespace hub::platform {

// Operations on scalars that stand in no table yet.
class PendingScalars {
 public:
  struct Change {
    enum class Kind { kNone, kAdded, kSet };
    Kind kind = Kind::kNone;
    bool has_no_row = false;  // the table's was deleted
    std::int64_t value = 0;
    std::size_t place = 0;  // in rows_
  };
  using Entry = KnownKeys<Change>::Entry;

  // Who writes them first adds each of `sums` to its row, or makes the row, and then sets the rows of `replaced`, or
  // makes them. In these orders that leaves what the same operations leave one by one, down to the order of the rows.
  struct Rows {
    std::vector<const Entry*> sums;
    std::vector<const Entry*> replaced;
  };

  void set(std::string_view key, std::int64_t value);

  // Beyond 64 bits the sum wraps around.
  void add(std::string_view key, std::int64_t value);

  // Drops what was to be written under the key. Whether the table may have a row of it: that one is to be deleted
  // before anything is written.
  [[nodiscard]] bool clear(std::string_view key);

  // Good until the next operation.
  [[nodiscard]] Rows rows() const;

  [[nodiscard]] std::size_t size_bytes() const {
    return keys_.size_bytes() + (rows_.size() + cleared_.size()) * sizeof(Entry*);
  }

  // All of it was written, or taken back.
  void forget();

 private:
  void make_row(Entry& entry);

  KnownKeys<Change> keys_;
  std::vector<Entry*> rows_;  // in the order in which they are made one by one; NULL: dropped
  std::vector<Entry*> cleared_;
};

}  // namespace hub::platform
