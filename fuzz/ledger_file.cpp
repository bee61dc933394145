// SPDX-License-Identifier: Apache-2.0
// Any file is a ledger or an error that names it, whatever stands in its rows. A ledger that can be read can be
// reported, opened and added to; a file that cannot be read is not opened either, and stays as it is to the byte.
//
// The first byte of the input says how the file is made:
//
//   mod 4 = 0   the bytes are the file
//   1           a ledger in which single bytes are changed: two bytes say where, one says to what
//   2           a ledger that is cut: two bytes say where
//   3           a ledger that an SQL statement changed, which a byte names, and rows of any types and values
//
// It is opened for writing as well where a quarter of the bytes' sum is a multiple of 8. The sum picks few: opening
// takes longer than all else, and most inputs that show something new are opened.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fuzz/fuzzing.h"
#include "fuzz/sqlite_memory.h"
#include "host/session/ledger_report.h"
#include "host/text/utf8_text.h"
#include "ledger/ledger_contents.h"
#include "ledger/sqlite_ledger.h"

namespace {

using namespace hub;
using fuzz::require;
using platform::LedgerContents;

using Image = std::vector<std::uint8_t>;

// Small pages, so that few bytes are a whole ledger.
constexpr const char* kLedger = R"(
  PRAGMA page_size = 512;
  PRAGMA application_id = 0x4855424C;
  CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER);
  CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value REAL);
  PRAGMA user_version = 1;
  INSERT INTO scalar VALUES ('a', 1), ('b', -2);
  INSERT INTO sample (key, value) VALUES ('a', 0.5), ('b', 2), ('a', -1))";

constexpr const char* kChanges[] = {
    "",
    "CREATE INDEX other ON sample (key)",
    "CREATE INDEX other ON sample (value)",
    "ALTER TABLE scalar ADD COLUMN more",
    "ALTER TABLE sample DROP COLUMN value",
    "DROP TABLE scalar",
    "CREATE TABLE more (key TEXT)",
    "CREATE VIEW more AS SELECT * FROM scalar",
    "CREATE TRIGGER more AFTER INSERT ON scalar BEGIN DELETE FROM sample; END",
    "DELETE FROM sample; DELETE FROM scalar",
    "PRAGMA user_version = 2",
    "PRAGMA application_id = 7",
    "DROP TABLE sample; CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value REAL AS (1) STORED)",
    "DROP TABLE scalar; CREATE TABLE scalar (key TEXT PRIMARY KEY, value TEXT)",
    "DROP TABLE scalar; CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER) WITHOUT ROWID",
    "INSERT INTO sample VALUES (9223372036854775807, 'c', 3)",
};

void expect_success(int code) {
  require(code == SQLITE_OK || code == SQLITE_DONE, "SQLite works", sqlite3_errstr(code));
}

// A database in memory.
class Workshop {
 public:
  explicit Workshop(const Image& image) {
    expect_success(sqlite3_open(":memory:", &handle_));
    if (!image.empty()) {
      auto* bytes = static_cast<std::uint8_t*>(sqlite3_malloc64(image.size()));
      std::copy(image.begin(), image.end(), bytes);
      constexpr unsigned kFlags = SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE;
      const auto size = static_cast<sqlite3_int64>(image.size());
      expect_success(sqlite3_deserialize(handle_, "main", bytes, size, size, kFlags));
    }
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;
  ~Workshop() { sqlite3_close(handle_); }

  void run(const char* sql) { expect_success(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }

  // Replaces or adds a row with values out of the input; nothing where the table does not take them.
  void add_row(fuzz::Input& input) {
    const auto table = input.number<std::uint8_t>();
    sqlite3_stmt* statement = nullptr;
    const char* sql = table % 2 == 0 ? "INSERT OR REPLACE INTO scalar (key, value) VALUES (?, ?)"
                                     : "INSERT INTO sample (key, value) VALUES (?, ?)";
    if (sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr) == SQLITE_OK) {
      bind_value(statement, 1, table / 2 % 8 == 7, input);
      bind_value(statement, 2, table / 16 % 8 == 7, input);
      sqlite3_step(statement);
    }
    sqlite3_finalize(statement);
  }

  Image image() {
    sqlite3_int64 size = 0;
    std::uint8_t* bytes = sqlite3_serialize(handle_, "main", &size, 0);
    Image copy(bytes, bytes + size);
    sqlite3_free(bytes);
    return copy;
  }

 private:
  // A text, or any type.
  static void bind_value(sqlite3_stmt* statement, int position, bool is_any, fuzz::Input& input) {
    const unsigned type = is_any ? input.number<std::uint8_t>() % 5 : position == 1 ? 3 : 1;
    if (type == 1) {
      sqlite3_bind_int64(statement, position, input.number<std::int64_t>());
    } else if (type == 2) {
      const auto bits = input.number<std::uint64_t>();
      double number = 0;
      std::memcpy(&number, &bits, sizeof number);
      sqlite3_bind_double(statement, position, number);
    } else if (type >= 3) {
      const auto bytes = input.take(input.number<std::uint8_t>() % 8);
      const auto length = static_cast<int>(bytes.size());
      if (type == 3) {
        sqlite3_bind_text(statement, position, reinterpret_cast<const char*>(bytes.data()), length, SQLITE_TRANSIENT);
      } else {
        sqlite3_bind_blob(statement, position, bytes.data(), length, SQLITE_TRANSIENT);
      }
    }
  }

  sqlite3* handle_ = nullptr;
};

const Image& ledger_image() {
  static const Image image = [] {
    Workshop workshop({});
    workshop.run(kLedger);
    return workshop.image();
  }();
  return image;
}

Image changed_bytes(fuzz::Input& input) {
  Image image = ledger_image();
  while (!input.is_over()) {
    const std::size_t at = input.number<std::uint16_t>() % image.size();
    image[at] = input.number<std::uint8_t>();
  }
  return image;
}

Image changed_rows(fuzz::Input& input) {
  Workshop workshop(ledger_image());
  workshop.run(kChanges[input.number<std::uint8_t>() % std::size(kChanges)]);
  while (!input.is_over()) {
    workshop.add_row(input);
  }
  return workshop.image();
}

Image image_of(unsigned choice, fuzz::Input& input) {
  switch (choice % 4) {
    case 0: {
      const auto* bytes = reinterpret_cast<const std::uint8_t*>(input.rest().data());
      return {bytes, bytes + input.rest().size()};
    }
    case 1:
      return changed_bytes(input);
    case 2: {
      Image image = ledger_image();
      image.resize(input.number<std::uint16_t>() % image.size());
      return image;
    }
    default:
      return changed_rows(input);
  }
}

// A file in memory if there is such a folder, which is there for as long as the process lives.
class File {
 public:
  File() {
    const std::filesystem::path memory = "/dev/shm";
    const auto above = std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
    std::string made = (above / "hub-fuzz.XXXXXX").string();
    require(mkdtemp(made.data()) != nullptr, "there is a folder", made);
    folder_ = made;
    name_ = (folder_ / "FILE").string();
    descriptor_ = open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    close(descriptor_);
    std::filesystem::remove_all(folder_);
  }

  [[nodiscard]] const std::string& name() const { return name_; }

  // Of long ago: whoever reads it does not have to wait until changes of it would show.
  void write(const Image& image) const {
    const timespec times[2] = {{1, 0}, {1, 0}};
    const bool done = ftruncate(descriptor_, 0) == 0 &&
                      pwrite(descriptor_, image.data(), image.size(), 0) == static_cast<ssize_t>(image.size()) &&
                      futimens(descriptor_, times) == 0;
    require(done, "the file is written", name_);
  }

  [[nodiscard]] bool holds(const Image& image) const {
    Image found(image.size() + 1);
    const ssize_t length = pread(descriptor_, found.data(), found.size(), 0);
    return length == static_cast<ssize_t>(image.size()) && std::equal(image.begin(), image.end(), found.begin());
  }

  // Nothing stands beside it.
  [[nodiscard]] bool is_alone() const {
    return access((name_ + "-wal").c_str(), F_OK) != 0 && access((name_ + "-journal").c_str(), F_OK) != 0;
  }

 private:
  std::filesystem::path folder_;
  std::string name_;
  int descriptor_ = -1;
};

const File* file = nullptr;

bool is_control(char character) { return static_cast<unsigned char>(character) < ' ' || character == '\x7F'; }

void check_error(const std::string& error) {
  require(error.starts_with(file->name() + ": "), "an error names the file", error);
  require(std::none_of(error.begin(), error.end(), is_control), "an error has no control characters", error);
}

std::optional<LedgerContents> read() try {
  return platform::read_ledger(file->name());
} catch (const platform::LedgerError& error) {
  check_error(error.what());
  return std::nullopt;
}

template <typename Map>
bool keys_are_utf8(const Map& map) {
  return std::all_of(map.begin(), map.end(),
                     [](const auto& row) { return host::utf8_prefix_bytes(row.first) == row.first.size(); });
}

void check_report(const LedgerContents& contents) {
  const std::string text = host::ledger_text(contents);
  require(std::none_of(text.begin(), text.end(), [](char c) { return c != '\n' && is_control(c); }),
          "a text has no control characters", text);
  const std::string json = host::ledger_json(contents);
  const auto parsed = nlohmann::json::parse(json, nullptr, false);
  require(!parsed.is_discarded() && parsed["format"] == "hub-ledger/1", "the JSON is valid", json);
  if (keys_are_utf8(contents.scalars) && keys_are_utf8(contents.distributions)) {
    require(parsed["scalars"].size() == contents.scalars.size(), "the JSON has all scalars", json);
    require(parsed["distributions"].size() == contents.distributions.size(), "the JSON has all distributions", json);
  }
  for (const auto& [key, summary] : contents.distributions) {
    require(summary.count > 0 && std::isfinite(summary.min) && std::isfinite(summary.max), "samples are numbers", key);
    require(summary.min <= summary.mean && summary.mean <= summary.max, "the mean is between the ends", key);
  }
}

// What is filed is there, and nothing else has changed.
void check_writing(platform::SqliteLedger& ledger, const LedgerContents& before) {
  LedgerContents expected = before;
  require(ledger.set_scalar("new", 7) && ledger.add_to_scalar("new", 1), "a scalar is filed");
  expected.scalars["new"] = 8;
  require(ledger.contents().scalars == expected.scalars, "a scalar is there, the others are as they were");
  if (ledger.push_to_distribution("new", 0.5)) {
    const std::uint64_t count = before.distributions.contains("new") ? before.distributions.at("new").count : 0;
    require(ledger.contents().distributions.at("new").count == count + 1, "a sample is there");
  }
  require(ledger.clear_scalar("new") && ledger.clear_distribution("new"), "keys can be cleared");
  expected.scalars.erase("new");
  expected.distributions = before.distributions;
  expected.distributions.erase("new");
  const LedgerContents now = ledger.contents();
  require(now.scalars == expected.scalars && now.distributions == expected.distributions, "all else is as it was");
}

// Opens the file; a database without tables becomes a ledger.
void check_opening(const Image& image, const std::optional<LedgerContents>& contents) {
  try {
    platform::SqliteLedger ledger(file->name());
    if (contents) {
      const LedgerContents opened = ledger.contents();
      require(opened.scalars == contents->scalars && opened.distributions == contents->distributions,
              "what is opened is what was read");
      check_writing(ledger, *contents);
    } else {
      require(ledger.contents().scalars.empty(), "what cannot be read is opened only when nothing is in it");
    }
  } catch (const platform::LedgerError& error) {
    check_error(error.what());
    require(!contents, "what can be read can be opened", error.what());
    require(file->holds(image) && file->is_alone(), "what is refused stays as it is", error.what());
  }
}

bool is_opened(std::span<const std::uint8_t> input) {
  return std::accumulate(input.begin(), input.end(), 0U) / 4 % 8 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  // What SQLite does with its memory, and for other threads, takes longer than what is looked for here.
  expect_success(sqlite3_config(SQLITE_CONFIG_SINGLETHREAD));
  expect_success(sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0));
  require(fuzz::SqliteMemory::install(), "SQLite takes its memory from the pools");
  expect_success(sqlite3_initialize());
  static const File of_the_process;
  file = &of_the_process;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto choice = input.number<std::uint8_t>();
  const std::int64_t pieces = fuzz::SqliteMemory::pieces();
  const Image image = image_of(choice, input);
  file->write(image);
  const std::optional<LedgerContents> contents = read();
  require(file->holds(image), "reading leaves the file as it is");
  if (contents) {
    check_report(*contents);
  }
  if (is_opened({data, size})) {
    check_opening(image, contents);
  }
  require(fuzz::SqliteMemory::pieces() == pieces, "SQLite has given its memory back");
  return 0;
}
