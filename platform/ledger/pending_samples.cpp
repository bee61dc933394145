// SPDX-License-Identifier: Apache-2.0
#include "ledger/pending_samples.h"

namespace hub::platform {

void PendingSamples::push(std::string_view key, std::int64_t id, double value) {
  const Entry& entry = keys_[key];
  samples_.push_back({id, value, &entry, entry.second.clears});
}

bool PendingSamples::clear(std::string_view key) {
  Entry& entry = keys_[key];
  ++entry.second.clears;
  while (!samples_.empty() && samples_.back().is_dropped()) {
    samples_.pop_back();
  }
  if (entry.second.has_no_rows) {
    return false;
  }
  cleared_.push_back(&entry);  // first: forgetting goes by it
  entry.second.has_no_rows = true;
  return true;
}

std::optional<std::int64_t> PendingSamples::last_id() const {
  return samples_.empty() ? std::nullopt : std::optional(samples_.back().id);
}

const std::vector<PendingSamples::Sample>& PendingSamples::rows() {
  std::erase_if(samples_, [](const Sample& sample) { return sample.is_dropped(); });
  return samples_;
}

void PendingSamples::forget() {
  samples_.clear();
  for (Entry* entry : cleared_) {
    entry->second = {};
  }
  cleared_.clear();
  keys_.trim();
}

}  // namespace hub::platform
