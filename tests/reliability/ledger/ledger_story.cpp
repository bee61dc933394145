// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/ledger/ledger_story.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "tests/reliability/ledger/failing_vfs.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using platform::SqliteLedger;

struct Operation {
  enum class Kind : std::uint8_t { kClearScalar, kSet, kAdd, kClearSamples, kSetSample, kPush };
  Kind kind;
  std::string key;
  std::int64_t value;
};
using Kind = Operation::Kind;

bool is_single(std::uint64_t number) { return number % 5 == 4; }

std::vector<Operation> operations_of(std::uint64_t number) {
  const auto value = static_cast<std::int64_t>(number);
  if (is_single(number)) {
    return {{Kind::kPush, "single", value}};
  }
  constexpr std::size_t kLongKeyBytes = 900;  // a few batches take several pages
  const std::string long_key(kLongKeyBytes + number % 7, 'k');
  return {
      {Kind::kAdd, "begun", 1},
      {number % 3 == 0 ? Kind::kClearScalar : Kind::kSet, "mark", value},
      {Kind::kAdd, long_key, value},
      {number % 6 == 5 ? Kind::kSetSample : Kind::kPush, "latency", value},
      {number % 4 == 3 ? Kind::kClearSamples : Kind::kPush, "burst", value},
      {number % 10 == 0 ? Kind::kClearSamples : Kind::kPush, "single", -value},
      {Kind::kSet, "last", value},
      {Kind::kAdd, "ended", 1},
  };
}

void apply(const Operation& operation, Filed& filed) {
  const auto clear_samples = [&] {
    std::erase_if(filed.samples, [&](const auto& sample) { return sample.first == operation.key; });
  };
  switch (operation.kind) {
    case Kind::kClearScalar:
      filed.scalars.erase(operation.key);
      break;
    case Kind::kSet:
      filed.scalars[operation.key] = operation.value;
      break;
    case Kind::kAdd:
      filed.scalars[operation.key] += operation.value;
      break;
    case Kind::kClearSamples:
      clear_samples();
      break;
    case Kind::kSetSample:
      clear_samples();
      filed.samples.emplace_back(operation.key, operation.value);
      break;
    case Kind::kPush:
      filed.samples.emplace_back(operation.key, operation.value);
      break;
  }
}

bool file_operation(SqliteLedger& ledger, const Operation& operation) {
  const auto sample = static_cast<double>(operation.value);
  switch (operation.kind) {
    case Kind::kClearScalar:
      return ledger.clear_scalar(operation.key);
    case Kind::kSet:
      return ledger.set_scalar(operation.key, operation.value);
    case Kind::kAdd:
      return ledger.add_to_scalar(operation.key, operation.value);
    case Kind::kClearSamples:
      return ledger.clear_distribution(operation.key);
    case Kind::kSetSample:
      return ledger.set_distribution(operation.key, sample);
    case Kind::kPush:
      return ledger.push_to_distribution(operation.key, sample);
  }
  return false;
}

// A connection that goes past the layer that spoils calls.
class Truth {
 public:
  explicit Truth(const std::string& file) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "unix");
    handle_.reset(handle);
    expect(code == SQLITE_OK);
    each("PRAGMA synchronous = OFF", [](sqlite3_stmt*) {});  // the machine is not to fail while it is looked at
  }

  // Calls `take` for each row.
  template <typename Take>
  void each(const char* sql, const Take& take) {
    sqlite3_stmt* handle = nullptr;
    expect(sqlite3_prepare_v2(handle_.get(), sql, -1, &handle, nullptr) == SQLITE_OK);
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(handle, sqlite3_finalize);
    int code = SQLITE_OK;
    while ((code = sqlite3_step(handle)) == SQLITE_ROW) {
      take(handle);
    }
    expect(code == SQLITE_DONE);
  }

 private:
  void expect(bool is_good) const {
    if (!is_good) {
      throw std::runtime_error(std::string("SQLite cannot read the file: ") + sqlite3_errmsg(handle_.get()));
    }
  }

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_{nullptr, sqlite3_close};
};

std::string text_of(sqlite3_stmt* row) {
  return {reinterpret_cast<const char*>(sqlite3_column_text(row, 0)),
          static_cast<std::size_t>(sqlite3_column_bytes(row, 0))};
}

int write_back_after_few_pages(sqlite3* connection, const char**, const sqlite3_api_routines*) {
  constexpr int kPages = 12;
  return sqlite3_wal_autocheckpoint(connection, kPages);
}

// Does something in a process that ends without closing anything.
template <typename Action>
void do_and_end(const Action& action) {
  const pid_t process = fork();
  if (process == 0) {
    action();
    ::kill(getpid(), SIGKILL);
  }
  waitpid(process, nullptr, 0);
}

}  // namespace

void apply_batch(std::uint64_t number, Filed& filed) {
  for (const Operation& operation : operations_of(number)) {
    apply(operation, filed);
  }
}

bool file_batch(SqliteLedger& ledger, std::uint64_t number) {
  const std::vector<Operation> operations = operations_of(number);
  if (is_single(number)) {
    return file_operation(ledger, operations.front());
  }
  ledger.begin_batch();
  for (const Operation& operation : operations) {
    file_operation(ledger, operation);
  }
  ledger.commit_batch();
  return true;
}

Filed filed_by(const std::set<std::uint64_t>& batches) {
  Filed filed;
  for (const std::uint64_t number : batches) {
    apply_batch(number, filed);
  }
  return filed;
}

Filed filed_by_first(std::uint64_t count) {
  Filed filed;
  for (std::uint64_t number = 0; number < count; ++number) {
    apply_batch(number, filed);
  }
  return filed;
}

Filed filed_in(const std::string& file) {
  if (!fs::exists(file)) {
    return {};
  }
  Truth truth(file);
  truth.each("PRAGMA integrity_check", [](sqlite3_stmt* row) {
    if (text_of(row) != "ok") {
      throw std::runtime_error("the file is damaged: " + text_of(row));
    }
  });
  int tables = 0;
  truth.each("SELECT 1 FROM sqlite_schema WHERE type = 'table'", [&](sqlite3_stmt*) { ++tables; });
  Filed filed;
  if (tables != 0) {
    truth.each("SELECT key, value FROM scalar",
               [&](sqlite3_stmt* row) { filed.scalars[text_of(row)] = sqlite3_column_int64(row, 1); });
    truth.each("SELECT key, value FROM sample ORDER BY id",
               [&](sqlite3_stmt* row) { filed.samples.emplace_back(text_of(row), sqlite3_column_double(row, 1)); });
  }
  return filed;
}

void write_log_back_often() { sqlite3_auto_extension(reinterpret_cast<void (*)()>(write_back_after_few_pages)); }

Folder::Folder() {
  std::string made = (fs::temp_directory_path() / "ledger_trust.XXXXXX").string();
  if (mkdtemp(made.data()) == nullptr) {
    throw std::runtime_error("no folder can be made in " + fs::temp_directory_path().string());
  }
  path_ = made;
}

Folder::~Folder() { fs::remove_all(path_); }

void Folder::become(const Folder& other) const {
  clear();
  for (const auto& entry : fs::directory_iterator(other.path_)) {
    fs::copy_file(entry.path(), path_ / entry.path().filename());
  }
}

void Folder::clear() const {
  for (const auto& entry : fs::directory_iterator(path_)) {
    fs::remove(entry.path());
  }
}

void make_closed_ledger(const Folder& folder, std::uint64_t count) {
  SqliteLedger ledger(folder.file());
  for (std::uint64_t number = 0; number < count; ++number) {
    file_batch(ledger, number);
  }
}

void make_killed_ledger(const Folder& folder, std::uint64_t count) {
  do_and_end([&] {
    SqliteLedger ledger(folder.file());
    for (std::uint64_t number = 0; number < count; ++number) {
      file_batch(ledger, number);
    }
    ::kill(getpid(), SIGKILL);
  });
}

void make_unfinished_ledger(const Folder& folder) {
  const auto is_unfinished = [&] {
    std::error_code none;
    return fs::file_size(folder.file() + "-journal", none) > 0 && !none && fs::file_size(folder.file()) > 0;
  };
  constexpr std::uint64_t kMostWrites = 100;
  for (std::uint64_t write = 1; !is_unfinished(); ++write) {
    if (write > kMostWrites) {
      throw std::runtime_error("making a ledger leaves no unfinished change wherever it is broken off");
    }
    folder.clear();
    do_and_end([&] {
      plan_file_failures({.call = FileCall::kWrite, .first = write, .effect = FilePlan::Effect::kEnd});
      const SqliteLedger ledger(folder.file());
    });
  }
}

}  // namespace hub::test
