// SPDX-License-Identifier: Apache-2.0
#include "ledger/sqlite_ledger.h"

#include <sqlite3.h>

#include <cmath>
#include <exception>
#include <limits>
#include <thread>
#include <utility>

#include "corefoundation/misuse.h"
#include "ledger/ledger_file.h"
#include "ledger/ledger_schema.h"
#include "ledger/sole_use.h"
#include "ledger/unfinished_change.h"

namespace hub::platform {
namespace {

using std::chrono::milliseconds;

// Beyond it a batch is written as far as it has come.
constexpr std::size_t kMostPendingBytes = 1 << 20;

// In SQLite a sum beyond 64 bits would become an approximation.
void add_wrapping(sqlite3_context* context, int, sqlite3_value** summands) {
  const auto first = static_cast<std::uint64_t>(sqlite3_value_int64(summands[0]));
  const auto second = static_cast<std::uint64_t>(sqlite3_value_int64(summands[1]));
  sqlite3_result_int64(context, static_cast<std::int64_t>(first + second));
}

// So that the statements below can be prepared.
Database with_wrapping_sum(Database database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY;
  if (sqlite3_create_function_v2(database.handle(), "wrapping_sum", 2, kFlags, nullptr, add_wrapping, nullptr, nullptr,
                                 nullptr) != SQLITE_OK) {
    database.fail();
  }
  return database;
}

// Two that make the same file hold each other up here, and SQLite lets neither wait: both would wait forever.
void switch_to_log(Database& database, milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    try {
      const std::string mode = database.text("PRAGMA journal_mode = WAL");
      if (mode != "wal") {
        database.refuse("stands where SQLite can keep no log beside it: journal mode \"" + mode + "\"");
      }
      return;
    } catch (const LedgerError&) {
      const bool locked = (sqlite3_errcode(database.handle()) & 0xFF) == SQLITE_BUSY;
      if (!locked || std::chrono::steady_clock::now() >= deadline) {
        throw;
      }
    }
    std::this_thread::sleep_for(milliseconds(5));
  }
}

// Refuses what is not ours before anything could be written to it.
void check_existing(const std::string& file, const std::string& location, milliseconds patience) {
  if (has_unfinished_change(location)) {
    // Broken off while a ledger was being made: its first page tells whose it is, the rest is still to be taken back.
    const std::optional<std::int64_t> before = identity_before_change(location);
    if (before && (*before == kApplicationId || *before == 0)) {
      return;
    }
    Database database(file, as_it_stands(location), Database::Access::kRead, patience);
    check_identity(database);
    return;
  }
  look_at(file, patience, [](Database& database) {
    database.run("BEGIN");  // all of it from one moment
    if (!is_new(database)) {
      check_schema(database);
      check_damage(database);
    }
  });
}

Database open_ledger(const std::string& file, milliseconds patience) {
  const std::string location = location_of(file);
  expect_writable(file, location);
  if (has_content(location)) {
    check_existing(file, location, patience);
  }
  Database database(file, location, Database::Access::kCreate, patience);
  if (is_new(database)) {
    set_identity(database);
    switch_to_log(database, patience);
    create_tables(database);
  }
  check_schema(database);
  switch_to_log(database, patience);
  database.run("PRAGMA synchronous = FULL");
  return database;
}

Database open_in_memory() {
  Database database("ledger in memory", ":memory:", Database::Access::kCreate, {});
  create_tables(database);
  return database;
}

}  // namespace

SqliteLedger::SqliteLedger() : SqliteLedger(open_in_memory()) {}

SqliteLedger::SqliteLedger(const std::string& file, milliseconds patience)
    : SqliteLedger(open_ledger(file, patience)) {}

// A statement that writes several rows and may fail copies every page that it changes into a file beside, so that it
// can be taken back by itself. OR ROLLBACK spares the copies: nothing of a failed statement's transaction is to be left
// anyway.
SqliteLedger::SqliteLedger(Database database)
    : database_(with_wrapping_sum(std::move(database))),
      delete_scalar_(database_, "DELETE FROM scalar WHERE key = ?1"),
      add_to_scalars_(database_, {"INSERT OR ROLLBACK INTO scalar (key, value) VALUES ", "(?, ?)",
                                  " ON CONFLICT (key) DO UPDATE SET value = wrapping_sum(value, excluded.value)", 2}),
      set_scalars_(database_, {"INSERT OR ROLLBACK INTO scalar (key, value) VALUES ", "(?, ?)",
                               " ON CONFLICT (key) DO UPDATE SET value = excluded.value", 2}),
      delete_samples_(database_, "DELETE FROM sample WHERE id BETWEEN ?2 AND ?3 AND key = ?1"),
      last_sample_(database_, "SELECT ifnull(max(id), 0) FROM sample"),
      insert_samples_(database_, {"INSERT OR ROLLBACK INTO sample (id, key, value) VALUES ", "(?, ?, ?)", "", 3}),
      begin_(database_, "BEGIN IMMEDIATE"),
      commit_(database_, "COMMIT"),
      ranges_(database_) {}

SqliteLedger::~SqliteLedger() { database_.roll_back(); }

bool SqliteLedger::clear_scalar(std::string_view key) {
  return attempt([&] {
    if (scalars_.clear(key)) {
      delete_scalar_.bind(1, key);
      delete_scalar_.run();
    }
  });
}

bool SqliteLedger::set_scalar(std::string_view key, std::int64_t value) {
  return attempt([&] { scalars_.set(key, value); });
}

bool SqliteLedger::add_to_scalar(std::string_view key, std::int64_t value) {
  return attempt([&] { scalars_.add(key, value); });
}

bool SqliteLedger::clear_distribution(std::string_view key) {
  return attempt([&] { clear_samples(key); });
}

bool SqliteLedger::set_distribution(std::string_view key, double sample) {
  return std::isfinite(sample) && attempt([&] {
           clear_samples(key);
           push(key, sample);
         });
}

bool SqliteLedger::push_to_distribution(std::string_view key, double sample) {
  return std::isfinite(sample) && attempt([&] { push(key, sample); });
}

void SqliteLedger::push(std::string_view key, double sample) { samples_.push(key, next_sample_id(), sample); }

// Deletes at once: which numbers are free for the next samples depends on it.
void SqliteLedger::clear_samples(std::string_view key) {
  if (!samples_.clear(key)) {
    return;
  }
  if (const std::optional<SampleRanges::Range> range = ranges_.find(key)) {
    delete_samples_.bind(1, key);
    delete_samples_.bind(2, range->first);
    delete_samples_.bind(3, range->last);
    delete_samples_.run();
    ranges_.remove(key);
    last_written_sample_.reset();
  }
}

std::int64_t SqliteLedger::next_sample_id() {
  std::optional<std::int64_t> last = samples_.last_id();
  if (!last) {
    if (!last_written_sample_) {
      while (last_sample_.next()) {
        last_written_sample_ = last_sample_.integer(0);
      }
    }
    last = last_written_sample_;
  }
  if (*last == std::numeric_limits<std::int64_t>::max()) {
    database_.refuse("has no number left for another sample");
  }
  return *last + 1;
}

void SqliteLedger::write_pending() {
  const auto bind_scalar = [](Statement& statement, int position, const PendingScalars::Entry* row) {
    statement.bind(position, row->first);
    statement.bind(position + 1, row->second.value);
  };
  const PendingScalars::Rows scalars = scalars_.rows();
  add_to_scalars_.run(scalars.sums, bind_scalar);
  set_scalars_.run(scalars.replaced, bind_scalar);
  insert_samples_.run(samples_.rows(), [](Statement& statement, int position, const PendingSamples::Sample& row) {
    statement.bind(position, row.id);
    statement.bind(position + 1, row.entry->first);
    statement.bind(position + 2, row.value);
  });
  for (const PendingSamples::Sample& row : samples_.rows()) {
    ranges_.add(row.entry->first, row.id);
  }
  forget_pending();
}

void SqliteLedger::forget_pending() {
  scalars_.forget();
  samples_.forget();
  last_written_sample_.reset();
}

void SqliteLedger::take_back() {
  database_.roll_back();
  forget_pending();
  ranges_.forget();
}

// A failed batch stays open for its owner, but takes nothing more: SQLite may have ended its transaction, and what came
// after would stay.
template <typename Operation>
bool SqliteLedger::attempt(const Operation& operation) {
  const SoleUse use(in_use_, "SqliteLedger");
  if (failure_ != nullptr) {
    return false;
  }
  try {
    if (in_batch_) {
      operation();
      if (scalars_.size_bytes() + samples_.size_bytes() > kMostPendingBytes) {
        write_pending();
      }
    } else {
      begin_.run();
      operation();
      write_pending();
      commit_.run();
    }
    return true;
  } catch (const std::exception&) {
    take_back();
    if (in_batch_) {
      failure_ = std::current_exception();
    }
    return false;
  }
}

void SqliteLedger::begin_batch() {
  const SoleUse use(in_use_, "SqliteLedger::begin_batch");
  if (in_batch_) {
    misuse("SqliteLedger::begin_batch", "a batch is open");
  }
  begin_.run();
  in_batch_ = true;
}

void SqliteLedger::commit_batch() {
  const SoleUse use(in_use_, "SqliteLedger::commit_batch");
  const std::exception_ptr failure = failure_;
  end_batch("SqliteLedger::commit_batch");
  if (failure != nullptr) {
    std::rethrow_exception(failure);
  }
  try {
    write_pending();
    commit_.run();
  } catch (...) {
    take_back();
    throw;
  }
}

void SqliteLedger::abandon_batch() {
  const SoleUse use(in_use_, "SqliteLedger::abandon_batch");
  end_batch("SqliteLedger::abandon_batch");
  take_back();
}

void SqliteLedger::end_batch(const char* function) {
  if (!in_batch_) {
    misuse(function, "no batch is open");
  }
  in_batch_ = false;
  failure_ = nullptr;
}

LedgerContents SqliteLedger::contents() {
  const SoleUse use(in_use_, "SqliteLedger::contents");
  if (in_batch_ && failure_ == nullptr) {
    try {
      write_pending();
    } catch (const std::exception&) {
      take_back();
      failure_ = std::current_exception();
      throw;
    }
  }
  return contents_of(database_);
}

}  // namespace hub::platform
