// SPDX-License-Identifier: Apache-2.0
#include "ledger/sample_ranges.h"

namespace hub::platform {

// The version changes with what other connections commit, and not with what this one does.
SampleRanges::SampleRanges(const Database& database)
    : database_(database), version_of_file_(database, "PRAGMA data_version") {
  look();
}

std::optional<SampleRanges::Range> SampleRanges::find(std::string_view key) {
  look();
  const auto found = ranges_.find(key);
  return found != ranges_.end() ? std::optional(found->second) : std::nullopt;
}

void SampleRanges::add(std::string_view key, std::int64_t id) {
  const auto found = ranges_.find(key);
  if (found != ranges_.end()) {
    found->second.last = id;
  } else {
    ranges_.emplace(key, Range{id, id});
  }
}

void SampleRanges::remove(std::string_view key) {
  const auto found = ranges_.find(key);
  if (found != ranges_.end()) {
    ranges_.erase(found);
  }
}

void SampleRanges::forget() { known_version_.reset(); }

void SampleRanges::look() {
  std::optional<std::int64_t> version;
  while (version_of_file_.next()) {
    version = version_of_file_.integer(0);
  }
  if (version == known_version_) {
    return;
  }
  known_version_.reset();
  ranges_.clear();
  for (Statement samples(database_, "SELECT id, key FROM sample ORDER BY id"); samples.next();) {
    add(samples.text(1), samples.integer(0));
  }
  known_version_ = version;
}

}  // namespace hub::platform
