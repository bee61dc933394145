// SPDX-License-Identifier: Apache-2.0
// Figures by key in bounded memory, however many keys an input has.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace hub::host {

// The first kMostKeys keys that come have figures of their own. All others share one, which says how much it is that
// the table does not tell apart.
template <typename Key, typename Figures, typename Hash = std::hash<Key>>
class BoundedTable {
 public:
  static constexpr std::size_t kMostKeys = 1024;

  struct Row {
    Key key;
    const Figures* figures;  // of the table, as long as nothing is added to it
  };

  // Where a key is counted. Throws std::bad_alloc.
  Figures& operator[](const Key& key) {
    const auto known = rows_.find(key);
    if (known != rows_.end()) {
      return known->second;
    }
    if (rows_.size() < kMostKeys) {
      return rows_[key];
    }
    has_others_ = true;
    return others_;
  }

  // Null for a key that has no figures of its own.
  [[nodiscard]] const Figures* find(const Key& key) const {
    const auto known = rows_.find(key);
    return known != rows_.end() ? &known->second : nullptr;
  }

  // What the keys behind the first ones have; null when there are none.
  [[nodiscard]] const Figures* others() const { return has_others_ ? &others_ : nullptr; }

  // The keys with figures of their own, those with the largest amount first, among equals by key.
  template <typename AmountOf>
  [[nodiscard]] std::vector<Row> rows_by(const AmountOf& amount_of) const {
    std::vector<Row> rows;
    rows.reserve(rows_.size());
    for (const auto& [key, figures] : rows_) {
      rows.push_back({key, &figures});
    }
    std::sort(rows.begin(), rows.end(), [&](const Row& one, const Row& other) {
      const auto amount = amount_of(*one.figures);
      const auto other_amount = amount_of(*other.figures);
      return amount != other_amount ? amount > other_amount : one.key < other.key;
    });
    return rows;
  }

 private:
  std::unordered_map<Key, Figures, Hash> rows_;
  Figures others_{};
  bool has_others_ = false;
};

}  // namespace hub::host
