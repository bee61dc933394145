// SPDX-License-Identifier: Apache-2.0
// What a ledger holds.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "ledger/ledger_error.h"
#include "platform_abi.h"

namespace hub::platform {

class Database;

// How long a ledger waits for another connection that keeps it from its work.
inline constexpr std::chrono::seconds kLedgerPatience{5};

// The samples of one key. There is at least one.
struct DistributionSummary {
  std::uint64_t count = 0;
  double min = 0;
  double mean = 0;  // of the exact sum as far as long double has it
  double max = 0;

  bool operator==(const DistributionSummary&) const = default;
};

// By key, in the order of the keys' bytes.
struct LedgerContents {
  std::map<std::string, std::int64_t> scalars;
  std::map<std::string, DistributionSummary> distributions;
};

// Reads a ledger's file as it was after the last batch that was committed, including what stands only in its log when a
// process was killed. The file and the log are not changed, and the folder may be read-only unless there is a log. A
// file that is missing, empty, damaged, locked, another program's or of another version is a LedgerError. [any thread]
PLATFORM_EXPORT LedgerContents read_ledger(const std::string& file,
                                           std::chrono::milliseconds patience = kLedgerPatience);

// The contents of an open ledger, whose tables have been checked. For the platform itself.
LedgerContents contents_of(Database& database);

}  // namespace hub::platform
