// SPDX-License-Identifier: Apache-2.0
#include "ledger/sqlite_ledger.h"

#include <sqlite3.h>

#include <cmath>
#include <exception>
#include <thread>
#include <utility>

#include "corefoundation/misuse.h"
#include "ledger/ledger_file.h"
#include "ledger/ledger_schema.h"

namespace hub::platform {
namespace {

using std::chrono::milliseconds;

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

SqliteLedger::SqliteLedger(Database database)
    : database_(with_wrapping_sum(std::move(database))),
      clear_scalar_(database_, "DELETE FROM scalar WHERE key = ?1"),
      set_scalar_(database_,
                  "INSERT INTO scalar (key, value) VALUES (?1, ?2)"
                  " ON CONFLICT (key) DO UPDATE SET value = excluded.value"),
      add_to_scalar_(database_,
                     "INSERT INTO scalar (key, value) VALUES (?1, ?2)"
                     " ON CONFLICT (key) DO UPDATE SET value = wrapping_sum(value, excluded.value)"),
      clear_samples_(database_, "DELETE FROM sample WHERE key = ?1"),
      push_sample_(database_, "INSERT INTO sample (id, key, value) VALUES ((SELECT max(id) + 1 FROM sample), ?1, ?2)"),
      begin_(database_, "BEGIN IMMEDIATE"),
      commit_(database_, "COMMIT") {}

SqliteLedger::~SqliteLedger() { database_.roll_back(); }

bool SqliteLedger::clear_scalar(std::string_view key) {
  return attempt([&] {
    clear_scalar_.bind(1, key);
    clear_scalar_.run();
  });
}

bool SqliteLedger::set_scalar(std::string_view key, std::int64_t value) {
  return attempt([&] {
    set_scalar_.bind(1, key);
    set_scalar_.bind(2, value);
    set_scalar_.run();
  });
}

bool SqliteLedger::add_to_scalar(std::string_view key, std::int64_t value) {
  return attempt([&] {
    add_to_scalar_.bind(1, key);
    add_to_scalar_.bind(2, value);
    add_to_scalar_.run();
  });
}

bool SqliteLedger::clear_distribution(std::string_view key) {
  return attempt([&] {
    clear_samples_.bind(1, key);
    clear_samples_.run();
  });
}

bool SqliteLedger::set_distribution(std::string_view key, double sample) {
  return std::isfinite(sample) && attempt([&] {
           if (in_batch_) {
             replace_samples(key, sample);
           } else {
             begin_.run();
             replace_samples(key, sample);
             commit_.run();
           }
         });
}

bool SqliteLedger::push_to_distribution(std::string_view key, double sample) {
  return std::isfinite(sample) && attempt([&] {
           push_sample_.bind(1, key);
           push_sample_.bind(2, sample);
           push_sample_.run();
         });
}

void SqliteLedger::replace_samples(std::string_view key, double sample) {
  clear_samples_.bind(1, key);
  clear_samples_.run();
  push_sample_.bind(1, key);
  push_sample_.bind(2, sample);
  push_sample_.run();
}

// A failed batch stays open for its owner, but takes nothing more: SQLite may have ended its transaction, and what came
// after would stay.
template <typename Operation>
bool SqliteLedger::attempt(const Operation& operation) {
  if (failure_) {
    return false;
  }
  try {
    operation();
    return true;
  } catch (const std::exception& error) {
    database_.roll_back();
    if (in_batch_) {
      failure_ = error.what();
    }
    return false;
  }
}

void SqliteLedger::begin_batch() {
  if (in_batch_) {
    misuse("SqliteLedger::begin_batch", "a batch is open");
  }
  begin_.run();
  in_batch_ = true;
}

void SqliteLedger::commit_batch() {
  const std::optional<std::string> failure = failure_;
  end_batch("SqliteLedger::commit_batch");
  if (failure) {
    throw LedgerError(*failure);
  }
  try {
    commit_.run();
  } catch (const LedgerError&) {
    database_.roll_back();
    throw;
  }
}

void SqliteLedger::abandon_batch() {
  end_batch("SqliteLedger::abandon_batch");
  database_.roll_back();
}

void SqliteLedger::end_batch(const char* function) {
  if (!in_batch_) {
    misuse(function, "no batch is open");
  }
  in_batch_ = false;
  failure_.reset();
}

LedgerContents SqliteLedger::contents() { return contents_of(database_); }

}  // namespace hub::platform
