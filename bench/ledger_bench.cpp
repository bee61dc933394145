// SPDX-License-Identifier: Apache-2.0
// The ledger in a file on disk: a batch of scalar operations, beside the same in one upsert for each record; a batch of
// samples where a million stand, beside the same in one insert for each sample; clearing where a million stand. A batch
// is one transaction that waits for the disk, in the ledger as in the database beside it.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "ledger/sqlite_ledger.h"
#include "ledger_keys.h"

namespace {

namespace fs = std::filesystem;
using hub::platform::SqliteLedger;

constexpr std::size_t kOperations = 1000;  // a batch
constexpr std::size_t kStoredSamples = 1'000'000;

[[noreturn]] void give_up(const std::string& what) {
  std::cerr << "ledger_bench: " << what << "\n";
  std::exit(1);
}

void expect(bool holds, const char* what) {
  if (!holds) {
    give_up(what);
  }
}

// A folder that goes when the program ends.
class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("ledger_bench." + std::to_string(getpid()))) {
    fs::create_directory(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { fs::remove_all(path_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

// The first call makes the folder: what is made with a path from it ends before it.
std::string path(const std::string& name) {
  static const Folder folder;
  return folder.path(name);
}

// SQLite as a program uses it by itself: a prepared statement for each thing to do, with the ledger's own settings.
class PlainDatabase {
 public:
  explicit PlainDatabase(const std::string& file) {
    expect(sqlite3_open(file.c_str(), &handle_) == SQLITE_OK, "cannot open a database");
    run("PRAGMA journal_mode = WAL");
    run("PRAGMA synchronous = FULL");
  }
  PlainDatabase(const PlainDatabase&) = delete;
  PlainDatabase& operator=(const PlainDatabase&) = delete;
  ~PlainDatabase() {
    for (sqlite3_stmt* statement : statements_) {
      sqlite3_finalize(statement);
    }
    sqlite3_close(handle_);
  }

  sqlite3_stmt* prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      give_up(sqlite3_errmsg(handle_));
    }
    return statements_.emplace_back(statement);
  }

  void run(const std::string& sql) {
    if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      give_up(sqlite3_errmsg(handle_));
    }
  }

  void run(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) {
      give_up(sqlite3_errmsg(handle_));
    }
    sqlite3_reset(statement);
  }

 private:
  sqlite3* handle_ = nullptr;
  std::vector<sqlite3_stmt*> statements_;
};

// The firmware's counters, which it files as scalars. All other keys are those of distributions.
constexpr std::array<std::array<std::size_t, 2>, 4> kCounters = {{{0, 6}, {18, 23}, {38, 49}, {57, 66}}};

bool is_counter(std::size_t index) {
  for (const auto& [first, last] : kCounters) {
    if (index >= first && index <= last) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> keys(bool of_counters) {
  std::vector<std::string> found;
  for (std::size_t index = 0; index < kStatLedgerKeyCount; ++index) {
    if (is_counter(index) == of_counters) {
      found.emplace_back(kStatLedgerKeyNames[index].text);
    }
  }
  return found;
}

struct ScalarOperation {
  std::string key;
  std::int64_t value;
  bool sets;
};

// Each counter in turn; every tenth operation sets its counter, the others add to it.
std::vector<ScalarOperation> scalar_operations() {
  const std::vector<std::string> counters = keys(true);
  std::vector<ScalarOperation> operations;
  for (std::size_t index = 0; index < kOperations; ++index) {
    operations.push_back({counters[index % counters.size()], static_cast<std::int64_t>(index), index % 10 == 9});
  }
  return operations;
}

void count(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kOperations));
}

void file_batch(SqliteLedger& ledger, const std::vector<ScalarOperation>& operations) {
  ledger.begin_batch();
  for (const ScalarOperation& operation : operations) {
    if (operation.sets) {
      ledger.set_scalar(operation.key, operation.value);
    } else {
      ledger.add_to_scalar(operation.key, operation.value);
    }
  }
  ledger.commit_batch();
}

class PlainCounters {
 public:
  explicit PlainCounters(const std::string& file) : database_(file) {
    database_.run("CREATE TABLE IF NOT EXISTS scalar (key TEXT PRIMARY KEY, value INTEGER)");
    const std::string upsert =
        "INSERT INTO scalar (key, value) VALUES (?1, ?2) ON CONFLICT (key) DO UPDATE SET value = ";
    set_ = database_.prepare(upsert + "excluded.value");
    add_ = database_.prepare(upsert + "value + excluded.value");
    begin_ = database_.prepare("BEGIN IMMEDIATE");
    commit_ = database_.prepare("COMMIT");
  }

  void file_batch(const std::vector<ScalarOperation>& operations) {
    database_.run(begin_);
    for (const ScalarOperation& operation : operations) {
      sqlite3_stmt* statement = operation.sets ? set_ : add_;
      sqlite3_bind_text(statement, 1, operation.key.data(), static_cast<int>(operation.key.size()), SQLITE_STATIC);
      sqlite3_bind_int64(statement, 2, operation.value);
      database_.run(statement);
    }
    database_.run(commit_);
  }

  std::map<std::string, std::int64_t> contents() {
    std::map<std::string, std::int64_t> scalars;
    sqlite3_stmt* rows = database_.prepare("SELECT key, value FROM scalar");
    while (sqlite3_step(rows) == SQLITE_ROW) {
      scalars[reinterpret_cast<const char*>(sqlite3_column_text(rows, 0))] = sqlite3_column_int64(rows, 1);
    }
    return scalars;
  }

 private:
  PlainDatabase database_;
  sqlite3_stmt* set_;
  sqlite3_stmt* add_;
  sqlite3_stmt* begin_;
  sqlite3_stmt* commit_;
};

// Both ways leave the same.
void expect_same_scalars(const std::vector<ScalarOperation>& operations) {
  SqliteLedger ledger(path("checked"));
  PlainCounters beside(path("checked_beside"));
  for (int batch = 0; batch < 2; ++batch) {
    file_batch(ledger, operations);
    beside.file_batch(operations);
  }
  expect(ledger.contents().scalars == beside.contents(), "the scalars differ");
}

const std::vector<ScalarOperation>& checked_scalar_operations() {
  static const std::vector<ScalarOperation> operations = [] {
    std::vector<ScalarOperation> made = scalar_operations();
    expect_same_scalars(made);
    return made;
  }();
  return operations;
}

// As many batches as fill the log, which SQLite then writes from its start: from there on its file does not grow, and
// a batch costs the same in the first and in the last repetition.
constexpr int kBatchesThatFillTheLog = 1100;

template <typename FileBatch>
void file_batches(benchmark::State& state, bool& log_is_full, const FileBatch& file_batch) {
  for (int batch = 0; !log_is_full && batch < kBatchesThatFillTheLog; ++batch) {
    file_batch();
  }
  log_is_full = true;
  for ([[maybe_unused]] auto _ : state) {
    file_batch();
  }
  count(state);
}

void batch_into_sqlite_on_disk(benchmark::State& state) {
  const std::vector<ScalarOperation>& operations = checked_scalar_operations();
  static SqliteLedger ledger(path("scalars"));
  static bool log_is_full = false;
  file_batches(state, log_is_full, [&] { file_batch(ledger, operations); });
}
BENCHMARK(batch_into_sqlite_on_disk);

void one_upsert_per_record_on_disk(benchmark::State& state) {
  const std::vector<ScalarOperation>& operations = checked_scalar_operations();
  static PlainCounters counters(path("scalars_beside"));
  static bool log_is_full = false;
  file_batches(state, log_is_full, [&] { counters.file_batch(operations); });
}
BENCHMARK(one_upsert_per_record_on_disk);

struct SampleOperation {
  std::string key;
  double sample;
};

// Each distribution in turn.
const std::vector<SampleOperation>& sample_operations() {
  static const std::vector<SampleOperation> operations = [] {
    const std::vector<std::string> distributions = keys(false);
    std::vector<SampleOperation> made;
    for (std::size_t index = 0; index < kOperations; ++index) {
      made.push_back({distributions[index % distributions.size()], static_cast<double>(index)});
    }
    return made;
  }();
  return operations;
}

class LedgerSamples {
 public:
  explicit LedgerSamples(const std::string& file) : ledger_(file) {}

  void push_batch() {
    ledger_.begin_batch();
    for (const SampleOperation& operation : sample_operations()) {
      ledger_.push_to_distribution(operation.key, operation.sample);
    }
    ledger_.commit_batch();
  }

  SqliteLedger& ledger() { return ledger_; }

 private:
  SqliteLedger ledger_;
};

class PlainSamples {
 public:
  explicit PlainSamples(const std::string& file) : database_(file) {
    database_.run("CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value REAL)");
    insert_ = database_.prepare("INSERT INTO sample (key, value) VALUES (?1, ?2)");
    begin_ = database_.prepare("BEGIN IMMEDIATE");
    commit_ = database_.prepare("COMMIT");
  }

  void push_batch() {
    database_.run(begin_);
    for (const SampleOperation& operation : sample_operations()) {
      sqlite3_bind_text(insert_, 1, operation.key.data(), static_cast<int>(operation.key.size()), SQLITE_STATIC);
      sqlite3_bind_double(insert_, 2, operation.sample);
      database_.run(insert_);
    }
    database_.run(commit_);
  }

 private:
  PlainDatabase database_;
  sqlite3_stmt* insert_;
  sqlite3_stmt* begin_;
  sqlite3_stmt* commit_;
};

// A million samples, pushed in either way.
template <typename Samples>
class Stored {
 public:
  explicit Stored(const std::string& name) : file_(path(name)), samples_(file_) {
    for (std::size_t stored = 0; stored < kStoredSamples; stored += kOperations) {
      samples_.push_batch();
    }
  }

  // Leaves the first million.
  void trim() { run_beside("DELETE FROM sample WHERE id > " + std::to_string(kStoredSamples)); }

  // From a connection of its own.
  void run_beside(const std::string& sql) { PlainDatabase(file_).run(sql); }

  Samples& operator*() { return samples_; }

 private:
  const std::string file_;
  Samples samples_;
};

// The numbers, keys and samples of a table, in its order.
std::vector<std::string> rows_of(const std::string& file) {
  std::vector<std::string> found;
  PlainDatabase database(file);
  sqlite3_stmt* rows = database.prepare("SELECT id || ' ' || key || ' ' || value FROM sample ORDER BY id");
  while (sqlite3_step(rows) == SQLITE_ROW) {
    found.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(rows, 0)));
  }
  return found;
}

// Both ways leave the same.
void expect_same_samples() {
  LedgerSamples samples(path("checked_samples"));
  PlainSamples beside(path("checked_samples_beside"));
  for (int batch = 0; batch < 2; ++batch) {
    samples.push_batch();
    beside.push_batch();
  }
  const std::vector<std::string> rows = rows_of(path("checked_samples"));
  expect(rows.size() == 2 * kOperations, "samples are missing");
  expect(rows == rows_of(path("checked_samples_beside")), "the samples differ");
}

Stored<LedgerSamples>& stored_samples() {
  static Stored<LedgerSamples> samples("samples");
  return samples;
}

Stored<PlainSamples>& stored_samples_beside() {
  static Stored<PlainSamples> samples = [] {
    expect_same_samples();
    return Stored<PlainSamples>("samples_beside");
  }();
  return samples;
}

void clear_distribution_without_samples(benchmark::State& state) {
  SqliteLedger& ledger = (*stored_samples()).ledger();
  const std::string counter = keys(true).front();
  for ([[maybe_unused]] auto _ : state) {
    ledger.clear_distribution(counter);
  }
}
BENCHMARK(clear_distribution_without_samples);

constexpr int kBatchesUntilTrimmed = 100;  // the table stays about as large as it was

template <typename Samples>
void push(benchmark::State& state, Stored<Samples>& samples) {
  int batches = 0;
  for ([[maybe_unused]] auto _ : state) {
    (*samples).push_batch();
    if (++batches % kBatchesUntilTrimmed == 0) {
      state.PauseTiming();
      samples.trim();
      state.ResumeTiming();
    }
  }
  samples.trim();
  count(state);
}

void push_to_distribution(benchmark::State& state) { push(state, stored_samples()); }
BENCHMARK(push_to_distribution);

void one_insert_per_sample(benchmark::State& state) { push(state, stored_samples_beside()); }
BENCHMARK(one_insert_per_sample);

}  // namespace

BENCHMARK_MAIN();
