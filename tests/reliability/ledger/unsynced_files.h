// SPDX-License-Identifier: Apache-2.0
// What a power failure leaves of files: all that was synced, and of the rest whatever the disk had got to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace hub::test {

// Keeps, for each file, what is surely on the disk and what was changed since. [one thread]
class UnsyncedFiles {
 public:
  // Before the file is opened: what stands in it counts as synced.
  void opening(const std::string& name);

  void written(const std::string& name, std::int64_t offset, std::string_view bytes);
  void truncated(const std::string& name, std::int64_t size_bytes);

  // With the first sync of a new file its folder is synced, too.
  void synced(const std::string& name);

  // A file whose folder was not synced after it was deleted may come back.
  void deleted(const std::string& name, bool folder_is_synced);

  // Puts the files into a state that a power failure may leave now. Each change since the last sync is there, or
  // absent, or in part: sectors of it are missing or nonsense. A new file that was never synced may be absent.
  void lose_power(std::uint64_t seed);

 private:
  struct Change {
    std::int64_t offset;
    std::string bytes;
    bool is_truncation;
  };
  struct File {
    std::string synced;
    bool is_in_folder;  // surely
    bool is_deleted = false;
    std::vector<Change> changes = {};
  };

  static void apply(const Change& change, std::string& content);
  static void lose_part(Change& change, std::mt19937_64& random);
  static std::string content_after_loss(const File& file, unsigned kept_percent, std::mt19937_64& random);

  std::map<std::string, File> files_;
};

}  // namespace hub::test
