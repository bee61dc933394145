// SPDX-License-Identifier: Apache-2.0
#include "host/forms/ready_text.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "profile/catalogue.h"

namespace hub::host {

ReadyText::ReadyText(std::string_view text) : length_(text.size()) {
  if (text.size() > kBlockBytes) {
    throw std::length_error("a text for each record is longer than its block: " + std::string(text));
  }
  std::copy(text.begin(), text.end(), block_.begin());
}

ReadyKeys::ReadyKeys(std::string_view before_first, std::string_view before, std::string_view behind) {
  rows_.reserve(profile::kLayouts.size());
  for (const profile::Layout* layout : profile::kLayouts) {
    std::vector<ReadyText>& keys = rows_.emplace_back();
    keys.reserve(layout->fields.size());
    for (const profile::Field& field : layout->fields) {
      std::string text(keys.empty() ? before_first : before);
      keys.emplace_back((text += field.key) += behind);
    }
  }
}

std::span<const ReadyText> ReadyKeys::of(const profile::Layout& layout) const {
  const auto place = std::find(profile::kLayouts.begin(), profile::kLayouts.end(), &layout);
  return rows_[static_cast<std::size_t>(place - profile::kLayouts.begin())];
}

}  // namespace hub::host
