// SPDX-License-Identifier: Apache-2.0
#include "ledger/ledger_contents.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ledger/ledger_file.h"
#include "ledger/ledger_schema.h"
#include "ledger/sqlite.h"

namespace hub::platform {
namespace {

struct Samples {
  std::uint64_t count = 0;
  double min = std::numeric_limits<double>::infinity();
  double max = -std::numeric_limits<double>::infinity();
  long double sum = 0;  // beyond the range of double: the sum of the largest samples is still a number

  void add(double sample) {
    ++count;
    min = std::min(min, sample);
    max = std::max(max, sample);
    sum += sample;
  }

  [[nodiscard]] DistributionSummary summary() const {
    return {count, min, static_cast<double>(sum / static_cast<long double>(count)), max};
  }
};

std::map<std::string, std::int64_t> scalars_of(Database& database) {
  std::map<std::string, std::int64_t> scalars;
  for (Statement rows(database, "SELECT key, value FROM scalar"); rows.next();) {
    scalars.emplace(rows.text(0), rows.integer(1));
  }
  return scalars;
}

std::map<std::string, DistributionSummary> distributions_of(Database& database) {
  std::map<std::string, Samples, std::less<>> samples;
  for (Statement rows(database, "SELECT key, value FROM sample"); rows.next();) {
    const std::string_view key = rows.text(0);
    auto place = samples.find(key);
    if (place == samples.end()) {
      place = samples.emplace(key, Samples()).first;
    }
    place->second.add(rows.real(1));
  }
  std::map<std::string, DistributionSummary> summaries;
  for (const auto& [key, of_key] : samples) {
    summaries.emplace_hint(summaries.end(), key, of_key.summary());
  }
  return summaries;
}

}  // namespace

LedgerContents contents_of(Database& database) { return {scalars_of(database), distributions_of(database)}; }

LedgerContents read_ledger(const std::string& file, std::chrono::milliseconds patience) {
  LedgerContents contents;
  look_at(file, patience, [&contents](Database& database) {
    database.run("BEGIN");  // all of it from one moment
    check_schema(database);
    check_damage(database);
    contents = contents_of(database);
  });
  return contents;
}

}  // namespace hub::platform
