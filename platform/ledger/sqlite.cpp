// SPDX-License-Identifier: Apache-2.0
#include "ledger/sqlite.h"

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "ledger/ledger_error.h"

namespace hub::platform {
namespace {

struct Meaning {
  int code;
  const char* text;
};

constexpr const char* kIsLocked = "is locked by another connection, try again when that has ended";

// What a failure means for a ledger. A precise code stands before the family that it belongs to.
constexpr Meaning kMeanings[] = {
    {SQLITE_READONLY_ROLLBACK, "holds an unfinished change, which only one who may write it can take back"},
    {SQLITE_READONLY_RECOVERY, "has a log that only one who may write its folder can recover"},
    {SQLITE_READONLY_CANTINIT, "has a log that only one who may write its folder can recover"},
    {SQLITE_BUSY, kIsLocked},
    {SQLITE_PROTOCOL, kIsLocked},  // for as long as SQLite itself tries to get at the log's index
    {SQLITE_CANTOPEN, "cannot be opened"},
    {SQLITE_CORRUPT, "is damaged"},
    {SQLITE_FULL, "has no room to grow"},
    {SQLITE_IOERR, "cannot be read or written"},
    {SQLITE_NOTADB, "is no ledger"},
    {SQLITE_READONLY, "cannot be written"},
};

const char* meaning_of(int extended_code) {
  constexpr int kFamilyBits = 0xFF;
  for (const Meaning& meaning : kMeanings) {
    if (meaning.code == extended_code || meaning.code == (extended_code & kFamilyBits)) {
      return meaning.text;
    }
  }
  return "cannot be used";
}

int flags_of(Database::Access access) {
  constexpr int kAlways = SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  return kAlways |
         (access == Database::Access::kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

// Quotes of the file's contents may have control characters, which would do something to a terminal: as \xNN.
std::string without_control_characters(const std::string& text) {
  std::string shown;
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (code < ' ' || code == 0x7F) {
      std::array<char, 8> number{};
      std::snprintf(number.data(), number.size(), "\\x%02x", code);
      shown += number.data();
    } else {
      shown += character;
    }
  }
  return shown;
}

}  // namespace

Database::Database(std::string name, const std::string& location, Access access, std::chrono::milliseconds patience)
    : name_(std::move(name)) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(location.c_str(), &handle, flags_of(access), nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) {
    fail();
  }
  sqlite3_busy_timeout(handle, static_cast<int>(patience.count()));
}

void Database::run(const char* sql) { Statement(*this, sql).run(); }

std::int64_t Database::integer(const char* sql) {
  Statement statement(*this, sql);
  statement.next();
  return statement.integer(0);
}

std::string Database::text(const char* sql) {
  Statement statement(*this, sql);
  statement.next();
  return std::string(statement.text(0));
}

std::int64_t Database::file_size_bytes() {
  sqlite3_file* file = nullptr;
  sqlite3_int64 size_bytes = 0;
  int code = sqlite3_file_control(handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (code == SQLITE_OK) {
    code = file->pMethods->xFileSize(file, &size_bytes);
  }
  if (code != SQLITE_OK) {
    fail(code, sqlite3_errstr(code));  // the database does not know of what its file answers to others
  }
  return size_bytes;
}

bool Database::has_log() const {
  std::error_code none;
  const std::uintmax_t size_bytes =
      std::filesystem::file_size(sqlite3_filename_wal(sqlite3_db_filename(handle(), "main")), none);
  return !none && size_bytes > 0;
}

void Database::roll_back() noexcept {
  if (sqlite3_get_autocommit(handle()) == 0) {
    sqlite3_exec(handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Database::refuse(const std::string& what) const {
  throw LedgerError(name_ + ": " + without_control_characters(what));
}

void Database::fail() const { fail(sqlite3_extended_errcode(handle()), sqlite3_errmsg(handle())); }

void Database::fail(int extended_code, const char* words) const {
  refuse(std::string(meaning_of(extended_code)) + ": " + words);
}

void Database::Close::operator()(sqlite3* handle) const noexcept { sqlite3_close(handle); }

Statement::Statement(const Database& database, std::string_view sql) : database_(database) {
  sqlite3_stmt* handle = nullptr;
  expect_success(sqlite3_prepare_v3(database.handle(), sql.data(), static_cast<int>(sql.size()), 0, &handle, nullptr));
  handle_.reset(handle);
}

void Statement::bind(int position, std::string_view text) {
  const char* characters = text.empty() ? "" : text.data();  // a null pointer would be no text at all
  expect_success(sqlite3_bind_text64(handle_.get(), position, characters, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int position, std::int64_t number) {
  expect_success(sqlite3_bind_int64(handle_.get(), position, number));
}

void Statement::bind(int position, double number) {
  expect_success(sqlite3_bind_double(handle_.get(), position, number));
}

bool Statement::next() {
  if (sqlite3_step(handle_.get()) == SQLITE_ROW) {
    return true;
  }
  expect_success(sqlite3_reset(handle_.get()));
  return false;
}

void Statement::run() {
  while (next()) {
  }
}

std::string_view Statement::text(int column) const {
  const unsigned char* characters = sqlite3_column_text(handle_.get(), column);
  const int length_bytes = sqlite3_column_bytes(handle_.get(), column);
  return {reinterpret_cast<const char*>(characters), static_cast<std::size_t>(length_bytes)};
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(handle_.get(), column); }

double Statement::real(int column) const { return sqlite3_column_double(handle_.get(), column); }

void Statement::expect_success(int code) const {
  if (code != SQLITE_OK) {
    database_.fail();
  }
}

void Statement::Finalize::operator()(sqlite3_stmt* handle) const noexcept { sqlite3_finalize(handle); }

}  // namespace hub::platform
