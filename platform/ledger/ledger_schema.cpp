// SPDX-License-Identifier: Apache-2.0
#include "ledger/ledger_schema.h"

#include <array>
#include <cstdio>
#include <string>

namespace hub::platform {
namespace {

constexpr std::int64_t kVersion = 1;

constexpr const char* kCreate[] = {
    "CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER)",
    "CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value REAL)",
    "PRAGMA user_version = 1",
};
static_assert(kVersion == 1, "the last statement sets it");

// Tables, views and triggers with their columns, in one line.
constexpr const char* kDescribe = R"(
  SELECT ifnull(group_concat(line, '; '), 'none') FROM (
    SELECT type || ' ' || name || ' ' || ifnull(
      (SELECT group_concat(name || ' ' || type || iif(pk, ' PRIMARY KEY', ''), ', ') FROM pragma_table_xinfo(m.name)),
      '') AS line
    FROM sqlite_schema AS m WHERE type <> 'index' AND name NOT LIKE 'sqlite~_%' ESCAPE '~' ORDER BY name))";
constexpr const char* kDescription =
    "table sample id INTEGER PRIMARY KEY, key TEXT, value REAL; table scalar key TEXT PRIMARY KEY, value INTEGER";

// The first row that holds what no ledger files: tables take any value in any column. Only of a number that is finite
// the difference to itself is one.
constexpr const char* kFindForeignRow = R"(
  SELECT 'scalar has a row of ' || typeof(key) || ' and ' || typeof(value) || ', expected text and integer'
    FROM scalar WHERE typeof(key) <> 'text' OR typeof(value) <> 'integer'
  UNION ALL
  SELECT 'sample has a row of ' || typeof(key) || ' and ' ||
    iif(typeof(value) = 'real' AND value - value IS NULL, 'no finite ', '') || typeof(value) ||
    ', expected text and finite real'
    FROM sample WHERE typeof(key) <> 'text' OR typeof(value) <> 'real' OR value - value IS NULL
  LIMIT 1)";

std::int64_t identity_of(Database& database) { return database.integer("PRAGMA application_id"); }

std::int64_t version_of(Database& database) { return database.integer("PRAGMA user_version"); }

std::string hex_text(std::int64_t number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(number));
  return text.data();
}

void check_version(Database& database) {
  const std::int64_t version = version_of(database);
  if (version != kVersion) {
    database.refuse("is a ledger of version " + std::to_string(version) + ", expected " + std::to_string(kVersion));
  }
}

void check_tables(Database& database) {
  const std::string found = database.text(kDescribe);
  if (found != kDescription) {
    database.refuse("has not the tables of a ledger: expected \"" + std::string(kDescription) + "\", found \"" + found +
                    "\"");
  }
}

}  // namespace

bool is_new(Database& database) {
  const std::int64_t identity = identity_of(database);
  const bool claimed = identity == kApplicationId && version_of(database) == 0;
  return (identity == 0 || claimed) && database.integer("SELECT count(*) FROM sqlite_schema") == 0;
}

void set_identity(Database& database) {
  database.run(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
}

void create_tables(Database& database) {
  database.run("BEGIN IMMEDIATE");
  if (is_new(database)) {  // nobody else was faster
    for (const char* statement : kCreate) {
      database.run(statement);
    }
  }
  database.run("COMMIT");
}

void check_identity(Database& database) {
  const std::int64_t identity = identity_of(database);
  if (identity != kApplicationId) {
    database.refuse("is no ledger: expected a database with application id " + hex_text(kApplicationId) + ", found " +
                    hex_text(identity));
  }
}

void check_schema(Database& database) {
  check_identity(database);
  check_version(database);
  check_tables(database);
}

// SQLite may name the database on a line of its own, in front of what is wrong in it.
void check_damage(Database& database) {
  // SQLite would read zeros. A process that was killed may leave such a page, too, but then the log has all of it.
  if (!database.has_log() && database.file_size_bytes() % database.integer("PRAGMA page_size") != 0) {
    database.refuse("is damaged: its last page is cut short");
  }
  const std::string result = database.text("PRAGMA integrity_check(1)");
  if (result != "ok") {
    database.refuse("is damaged: " + result.substr(result.rfind('\n') + 1));
  }
  if (const std::string foreign = database.text(kFindForeignRow); !foreign.empty()) {
    database.refuse("is damaged: " + foreign);
  }
}

}  // namespace hub::platform
