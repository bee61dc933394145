// SPDX-License-Identifier: Apache-2.0
// What the tests of the ledger share: a folder, a connection that knows nothing of the ledger, other processes, users
// without rights, and a disk without room.
#pragma once

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ledger/sqlite_ledger.h"
#include "tests/platform/platform_test.h"

namespace hub::test {

namespace fs = std::filesystem;
using platform::LedgerError;
using platform::SqliteLedger;

constexpr std::chrono::milliseconds kShortPatience{50};

using Rows = std::vector<std::string>;

// A connection of its own, straight through SQLite's interface.
class Probe {
 public:
  explicit Probe(const std::string& file) {
    EXPECT_EQ(sqlite3_open_v2(file.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr), SQLITE_OK)
        << file;
    sqlite3_busy_timeout(handle_, 5000);
  }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;
  ~Probe() { EXPECT_EQ(sqlite3_close(handle_), SQLITE_OK); }

  // Each row's columns with a bar between them, numbers in their shortest exact form.
  Rows rows(const std::string& sql) {
    Rows found;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::string& row = found.emplace_back();
      for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        row += (column == 0 ? "" : "|") + value(statement, column);
      }
    }
    EXPECT_EQ(sqlite3_finalize(statement), SQLITE_OK) << sqlite3_errmsg(handle_);
    return found;
  }

  void run(const std::string& sql) {
    EXPECT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
  }

 private:
  static std::string value(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) != SQLITE_FLOAT) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      return text == nullptr ? "NULL"
                             : std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    }
    std::array<char, 32> room{};
    return {room.data(),
            std::to_chars(room.data(), room.data() + room.size(), sqlite3_column_double(statement, column)).ptr};
  }

  sqlite3* handle_ = nullptr;
};

// A process that does something and then holds still until it is killed: in the destructor, if not before.
class OtherProcess {
 public:
  template <typename Action>
  explicit OtherProcess(const Action& action) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      action([&ends] {
        (void)!write(ends[1], "!", 1);
        for (;;) {
          pause();
        }
      });
      _exit(1);
    }
    close(ends[1]);
    char ready = 0;
    EXPECT_EQ(read(ends[0], &ready, 1), 1) << "the other process failed";
    close(ends[0]);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  ~OtherProcess() {
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

 private:
  pid_t process_ = -1;
};

// Does something in a process of its own, and kills it there: what it had open is never closed.
template <typename Action>
void do_and_be_killed(const Action& action) {
  const OtherProcess process([&action](const auto& hold_still) { action(hold_still); });
}

// The text of the LedgerError that an action throws, empty when it throws none.
template <typename Action>
std::string error_of(const Action& action) {
  try {
    action();
    return {};
  } catch (const LedgerError& error) {
    return error.what();
  }
}

// The same in a process whose user owns nothing, so that permissions count for root's tests as well.
template <typename Action>
std::string error_of_ordinary_user(const Action& action) {
  constexpr uid_t kNobody = 65534;
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  const pid_t process = fork();
  if (process == 0) {
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
      _exit(1);
    }
    const std::string error = error_of(action);
    const bool told = write(ends[1], error.data(), error.size()) == static_cast<ssize_t>(error.size());
    _exit(told && !::testing::Test::HasFailure() ? 0 : 1);
  }
  close(ends[1]);
  std::string error(4096, '\0');
  const ssize_t length = read(ends[0], error.data(), error.size());
  close(ends[0]);
  int status = -1;
  waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
  error.resize(static_cast<std::size_t>(length));
  return error;
}

// While it lives, no file grows beyond this size.
class NoRoom {
 public:
  explicit NoRoom(rlim_t size_bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{size_bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  NoRoom(const NoRoom&) = delete;
  NoRoom& operator=(const NoRoom&) = delete;
  ~NoRoom() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_before_);
  }

 private:
  rlimit before_{};
  sighandler_t handler_before_ = std::signal(SIGXFSZ, SIG_IGN);
};

inline void expect_contains(const std::string& text, const std::string& part) {
  EXPECT_NE(text.find(part), std::string::npos) << "expected \"" << part << "\" in \"" << text << "\"";
}

// A folder of its own for each test, and the name of a ledger in it.
class LedgerTest : public PlatformTest {
 protected:
  using Files = std::map<std::string, std::string>;  // name, bytes

  void SetUp() override {
    std::string made = (fs::temp_directory_path() / "ledger_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    folder_ = made;
    chmod(made.c_str(), 0755);
  }
  void TearDown() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
  [[nodiscard]] std::string file() const { return path("ledger"); }

  // Leaves a ledger with a scalar and two samples, and nothing beside it.
  void make_ledger() const {
    SqliteLedger ledger(file());
    EXPECT_TRUE(ledger.set_scalar("presses", 7));
    EXPECT_TRUE(ledger.push_to_distribution("latency", 1.5));
    EXPECT_TRUE(ledger.push_to_distribution("latency", 0.25));
  }

  // The same, killed before it was closed: all that it holds stands in the log.
  void make_ledger_and_be_killed() const {
    do_and_be_killed([this](const auto& hold_still) {
      SqliteLedger ledger(file());
      ledger.set_scalar("presses", 7);
      ledger.push_to_distribution("latency", 1.5);
      ledger.push_to_distribution("latency", 0.25);
      hold_still();
    });
  }

  // What SQLite finds in the file.
  [[nodiscard]] Rows scalars() const { return Probe(file()).rows("SELECT key, value FROM scalar ORDER BY key"); }
  [[nodiscard]] Rows samples() const { return Probe(file()).rows("SELECT key, value FROM sample ORDER BY id"); }

  void change(const std::string& sql) const { Probe(file()).run(sql); }

  void write_file(const std::string& bytes) const { std::ofstream(file(), std::ios::binary) << bytes; }

  // All there is in the folder.
  [[nodiscard]] Files files() const {
    Files found;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      std::ifstream content(entry.path(), std::ios::binary);
      found[entry.path().filename().string()] = {std::istreambuf_iterator<char>(content), {}};
    }
    return found;
  }

  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      found.insert(entry.path().filename().string());
    }
    return found;
  }

  fs::path folder_;
};

}  // namespace hub::test
