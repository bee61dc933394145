// SPDX-License-Identifier: Apache-2.0
#include "ledger/pending_scalars.h"

namespace hub::platform {
namespace {

std::int64_t wrapping_sum(std::int64_t first, std::int64_t second) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(first) + static_cast<std::uint64_t>(second));
}

}  // namespace

void PendingScalars::set(std::string_view key, std::int64_t value) {
  Entry& entry = keys_[key];
  if (entry.second.kind == Change::Kind::kNone) {
    make_row(entry);
  }
  entry.second.kind = Change::Kind::kSet;
  entry.second.value = value;
}

void PendingScalars::add(std::string_view key, std::int64_t value) {
  Entry& entry = keys_[key];
  if (entry.second.kind == Change::Kind::kNone) {
    make_row(entry);
    entry.second.kind = Change::Kind::kAdded;
  }
  entry.second.value = wrapping_sum(entry.second.value, value);
}

bool PendingScalars::clear(std::string_view key) {
  Entry& entry = keys_[key];
  Change& change = entry.second;
  const bool may_have_row = !change.has_no_row;
  if (may_have_row) {
    cleared_.push_back(&entry);  // first: without memory for it nothing has changed
  }
  if (change.kind != Change::Kind::kNone) {
    rows_[change.place] = nullptr;
  }
  change = {};
  change.has_no_row = true;
  return may_have_row;
}

// Sums make rows in their order, and those that are set later must stand among them: they are added to as well. When
// nothing is added, setting makes the rows in their order by itself.
PendingScalars::Rows PendingScalars::rows() const {
  Rows rows;
  for (const Entry* entry : rows_) {
    if (entry != nullptr) {
      rows.sums.push_back(entry);
      if (entry->second.kind == Change::Kind::kSet) {
        rows.replaced.push_back(entry);
      }
    }
  }
  if (rows.replaced.size() == rows.sums.size()) {
    rows.sums.clear();
  }
  return rows;
}

void PendingScalars::forget() {
  for (const std::vector<Entry*>* touched : {&rows_, &cleared_}) {
    for (Entry* entry : *touched) {
      if (entry != nullptr) {
        entry->second = {};
      }
    }
  }
  rows_.clear();
  cleared_.clear();
  keys_.trim();
}

void PendingScalars::make_row(Entry& entry) {
  entry.second.place = rows_.size();
  rows_.push_back(&entry);
}

}  // namespace hub::platform
