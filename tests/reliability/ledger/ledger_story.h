// SPDX-License-Identifier: Apache-2.0
// Batches that a ledger is given while it is tried, what they leave when they are filed, and what a ledger's file holds
// in truth: read through SQLite alone, by its own way to the files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ledger/sqlite_ledger.h"

namespace hub::test {

// All that a ledger holds; samples oldest first.
struct Filed {
  std::map<std::string, std::int64_t> scalars = {};
  std::vector<std::pair<std::string, double>> samples = {};

  bool operator==(const Filed&) const = default;
};

// What the batch of this number does: it sets, adds and clears under several keys, and counts itself first and last.
// Every fifth is a single operation, which is filed outside a batch.
void apply_batch(std::uint64_t number, Filed& filed);

// Files the batch. False or a LedgerError is the ledger's word that it is not filed.
bool file_batch(platform::SqliteLedger& ledger, std::uint64_t number);

// What is there after these batches, and after the first `count`.
Filed filed_by(const std::set<std::uint64_t>& batches);
Filed filed_by_first(std::uint64_t count);

// What the file holds, empty when it is missing or has no tables. A std::runtime_error tells what SQLite finds wrong.
Filed filed_in(const std::string& file);

// From now on SQLite writes the log back after a few pages, so that a short story sees it.
void write_log_back_often();

// A folder of its own, gone with the object.
class Folder {
 public:
  Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder();

  [[nodiscard]] std::string file() const { return (path_ / "ledger").string(); }

  // Leaves exactly the files of the other folder in this one.
  void become(const Folder& other) const;
  void clear() const;

 private:
  std::filesystem::path path_;
};

// A ledger of the first `count` batches, as it is when it was closed, and as the process leaves it that is killed.
void make_closed_ledger(const Folder& folder, std::uint64_t count);
void make_killed_ledger(const Folder& folder, std::uint64_t count);

// What is left when the process is killed while it makes a ledger: with a change in its file that has to be taken back.
// [after install_failing_vfs]
void make_unfinished_ledger(const Folder& folder);

}  // namespace hub::test
