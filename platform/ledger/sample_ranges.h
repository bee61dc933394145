// SPDX-License-Identifier: Apache-2.0
// Where in the table the samples of each distribution stand.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ledger/sqlite.h"

namespace hub::platform {

// Kept in memory in the place of an index in the file: that one would have a page of its own for the end of each
// distribution, and a batch of samples would change ten times as many pages as it does. What is known here is enough to
// see at once that a distribution has no samples, and to look for those of one only where they can be. Takes memory for
// each distribution, not for each sample.
class SampleRanges {
 public:
  // Numbers of samples: none of the distribution's stands before the first or behind the last.
  struct Range {
    std::int64_t first;
    std::int64_t last;
  };

  // The database outlives it and stays where it is, and has its tables.
  explicit SampleRanges(const Database& database);

  // Nothing when the distribution has no samples. Reads the whole table when it is not known, or when another
  // connection has changed the file. Throws LedgerError when the database fails. Called in the transaction that goes by
  // it.
  std::optional<Range> find(std::string_view key);

  // A sample was written; its number is above all others of its distribution.
  void add(std::string_view key, std::int64_t id);

  // All samples of the distribution were deleted.
  void remove(std::string_view key);

  // What was written or deleted has been taken back: no range is known any more.
  void forget();

 private:
  void look();

  const Database& database_;
  Statement version_of_file_;
  std::map<std::string, Range, std::less<>> ranges_;
  std::optional<std::int64_t> known_version_;  // of the file, for which these are the ranges
};

}  // namespace hub::platform
