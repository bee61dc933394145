// SPDX-License-Identifier: Apache-2.0
// Owners of SQLite's handles. What SQLite refuses is a LedgerError with the file's name, what that means for a ledger,
// and SQLite's words. One thread at a time uses a database and its statements.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace hub::platform {

// An open connection.
class Database {
 public:
  enum class Access {
    kRead,    // nothing is written, not even when the connection ends
    kCreate,  // for reading and writing; made when it is not there
  };

  // `name` is how messages call the database, `location` SQLite's file name or URI. A call waits so long, at most, for
  // other connections.
  Database(std::string name, const std::string& location, Access access, std::chrono::milliseconds patience);

  // Runs one statement that gives no rows, or none that matter.
  void run(const char* sql);

  // The single value that one statement gives.
  [[nodiscard]] std::int64_t integer(const char* sql);
  [[nodiscard]] std::string text(const char* sql);

  // How long the file is, without its log. And whether it has one, with pages that the file may lack.
  [[nodiscard]] std::int64_t file_size_bytes();
  [[nodiscard]] bool has_log() const;

  // Takes back what the transaction did, when there is one. SQLite ends some by itself when an operation fails.
  void roll_back() noexcept;

  [[nodiscard]] sqlite3* handle() const { return handle_.get(); }

  // A LedgerError about this database. `what` may quote the file: a control character is told as \xNN.
  [[noreturn]] void refuse(const std::string& what) const;

  // A LedgerError for what SQLite last reported.
  [[noreturn]] void fail() const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const noexcept;
  };

  [[noreturn]] void fail(int extended_code, const char* words) const;

  std::string name_;
  std::unique_ptr<sqlite3, Close> handle_;
};

// A statement, prepared once and run as often as it is needed. The database outlives it and stays where it is.
class Statement {
 public:
  Statement(const Database& database, std::string_view sql);

  // Sets the parameter at this position, from 1 on. A text is lent until the statement has run.
  void bind(int position, std::string_view text);
  void bind(int position, std::int64_t number);
  void bind(int position, double number);

  // Whether there is a row, the first or the next; after the last one the statement can run again.
  bool next();

  // Runs it to its end.
  void run();

  // A column of the row, from 0 on.
  [[nodiscard]] std::string_view text(int column) const;  // until the next row
  [[nodiscard]] std::int64_t integer(int column) const;
  [[nodiscard]] double real(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const noexcept;
  };

  void expect_success(int code) const;

  const Database& database_;
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

}  // namespace hub::platform
