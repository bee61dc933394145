// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/ledger/unsynced_files.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace hub::test {
namespace {

constexpr std::size_t kSectorBytes = 512;

std::string content_of(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

void UnsyncedFiles::opening(const std::string& name) {
  const auto known = files_.find(name);
  if (known != files_.end() && !known->second.is_deleted) {
    return;
  }
  const bool exists = std::filesystem::exists(name);
  files_[name] = {exists ? content_of(name) : std::string(), exists};
}

void UnsyncedFiles::written(const std::string& name, std::int64_t offset, std::string_view bytes) {
  files_[name].changes.push_back({offset, std::string(bytes), false});
}

void UnsyncedFiles::truncated(const std::string& name, std::int64_t size_bytes) {
  files_[name].changes.push_back({size_bytes, {}, true});
}

void UnsyncedFiles::synced(const std::string& name) {
  File& file = files_[name];
  for (const Change& change : file.changes) {
    apply(change, file.synced);
  }
  file.changes.clear();
  if (!file.is_in_folder) {
    file.is_in_folder = true;
    std::erase_if(files_, [](const auto& entry) { return entry.second.is_deleted; });
  }
}

void UnsyncedFiles::deleted(const std::string& name, bool folder_is_synced) {
  opening(name);  // what may come back
  if (folder_is_synced) {
    files_.erase(name);
  } else {
    files_[name].is_deleted = true;
  }
}

void UnsyncedFiles::apply(const Change& change, std::string& content) {
  const auto offset = static_cast<std::size_t>(change.offset);
  if (change.is_truncation) {
    content.resize(offset);
    return;
  }
  content.resize(std::max(content.size(), offset + change.bytes.size()));
  content.replace(offset, change.bytes.size(), change.bytes);
}

// The disk got to some sectors only, or was writing nonsense into one when it stopped.
void UnsyncedFiles::lose_part(Change& change, std::mt19937_64& random) {
  const std::size_t sectors = change.bytes.size() / kSectorBytes + 1;
  const std::size_t at = std::min(change.bytes.size(), random() % sectors * kSectorBytes);
  if (random() % 2 == 0) {
    change.bytes.resize(at);
    return;
  }
  const std::size_t end = std::min(change.bytes.size(), at + kSectorBytes);
  for (std::size_t place = at; place < end; ++place) {
    change.bytes[place] = static_cast<char>(random());
  }
}

std::string UnsyncedFiles::content_after_loss(const File& file, unsigned kept_percent, std::mt19937_64& random) {
  std::string content = file.synced;
  for (Change change : file.changes) {
    if (random() % 100 >= kept_percent) {
      continue;
    }
    if (random() % 4 == 0 && !change.is_truncation) {
      lose_part(change, random);
    }
    apply(change, content);
  }
  return content;
}

void UnsyncedFiles::lose_power(std::uint64_t seed) {
  std::mt19937_64 random(seed);
  constexpr std::array<unsigned, 4> kKeptPercents = {0, 50, 90, 100};
  const unsigned kept_percent = kKeptPercents[random() % kKeptPercents.size()];
  for (const auto& [name, file] : files_) {
    const bool is_unsure = file.is_deleted || !file.is_in_folder;
    const bool is_gone = is_unsure && random() % 2 == 0;
    if (is_gone) {
      std::filesystem::remove(name);
    } else {
      std::ofstream(name, std::ios::binary) << content_after_loss(file, kept_percent, random);
    }
  }
}

}  // namespace hub::test
