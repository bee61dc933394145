// SPDX-License-Identifier: Apache-2.0
// The ledger in a file on disk: a batch of scalar operations, beside the same in one upsert for each record; samples
// pushed and cleared where a million stand, beside the same without the index of their keys. A batch is one transaction
// that waits for the disk, in the ledger as in the database beside it.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
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

void batch_into_sqlite_on_disk(benchmark::State& state) {
  const std::vector<ScalarOperation>& operations = checked_scalar_operations();
  SqliteLedger ledger(path("scalars"));
  for (auto _ : state) {
    file_batch(ledger, operations);
  }
  count(state);
}
BENCHMARK(batch_into_sqlite_on_disk);

void one_upsert_per_record_on_disk(benchmark::State& state) {
  const std::vector<ScalarOperation>& operations = checked_scalar_operations();
  PlainCounters counters(path("scalars_beside"));
  for (auto _ : state) {
    counters.file_batch(operations);
  }
  count(state);
}
BENCHMARK(one_upsert_per_record_on_disk);

// A million samples in a ledger, a batch for each of the distributions in turn.
class StoredSamples {
 public:
  explicit StoredSamples(const std::string& file) : file_(file), ledger_(file) {
    for (std::size_t stored = 0; stored < kStoredSamples; stored += kOperations) {
      push_batch();
    }
  }

  void push_batch() {
    const std::string& key = keys_[batches_++ % keys_.size()];
    ledger_.begin_batch();
    for (std::size_t index = 0; index < kOperations; ++index) {
      ledger_.push_to_distribution(key, static_cast<double>(index));
    }
    ledger_.commit_batch();
  }

  // Leaves the first million.
  void trim() { PlainDatabase(file_).run("DELETE FROM sample WHERE id > " + std::to_string(kStoredSamples)); }

  SqliteLedger& ledger() { return ledger_; }

 private:
  const std::string file_;
  const std::vector<std::string> keys_ = keys(false);
  std::size_t batches_ = 0;
  SqliteLedger ledger_;
};

StoredSamples& stored_samples() {
  static StoredSamples samples(path("samples"));
  return samples;
}

// The same ledger, whose index another program drops once it is open.
StoredSamples& stored_samples_without_index() {
  const auto make = [](const std::string& file) {
    auto samples = std::make_unique<StoredSamples>(file);
    PlainDatabase(file).run("DROP INDEX sample_by_key");
    return samples;
  };
  static const std::unique_ptr<StoredSamples> samples = make(path("samples_without_index"));
  return *samples;
}

void clear_distribution_without_samples(benchmark::State& state) {
  SqliteLedger& ledger = stored_samples().ledger();
  const std::string counter = keys(true).front();
  for (auto _ : state) {
    ledger.clear_distribution(counter);
  }
}
BENCHMARK(clear_distribution_without_samples);

constexpr int kBatchesUntilTrimmed = 100;  // the table stays about as large as it was

void push(benchmark::State& state, StoredSamples& samples) {
  int batches = 0;
  for (auto _ : state) {
    samples.push_batch();
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

void push_to_distribution_without_index(benchmark::State& state) { push(state, stored_samples_without_index()); }
BENCHMARK(push_to_distribution_without_index);

}  // namespace

BENCHMARK_MAIN();
