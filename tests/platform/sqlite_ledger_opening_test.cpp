// SPDX-License-Identifier: Apache-2.0
// What becomes a ledger, and what is refused and stays as it is.
#include <sys/stat.h>

#include "tests/platform/ledger_fixture.h"

namespace hub::test {
namespace {

constexpr std::size_t kPageSize = 4096;
const std::string kManyRows = "WITH RECURSIVE n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 9999)";

class LedgerOpening : public LedgerTest {
 protected:
  [[nodiscard]] std::string error(const std::string& name) const {
    return error_of([&] { const SqliteLedger ledger(path(name), kShortPatience); });
  }
  [[nodiscard]] std::string error() const { return error("ledger"); }

  // Opening fails, says this, and leaves everything in the folder as it was to the byte.
  void expect_refusal(const std::string& what) const {
    const Files before = files();
    expect_contains(error(), file() + ": " + what);
    EXPECT_TRUE(files() == before) << what;
  }

  // The file opens, and is a ledger with nothing in it.
  void expect_new_ledger() const {
    EXPECT_EQ(error(), "");
    EXPECT_EQ(scalars(), Rows{});
    EXPECT_EQ(samples(), Rows{});
  }

  // A process is killed while it changes the file in the way of databases without a log: part of the change stands in
  // the file, and what was there before in a journal beside it.
  void change_and_be_killed(const std::string& sql) const {
    do_and_be_killed([&](const auto& hold_still) {
      Probe probe(file());
      probe.run("PRAGMA journal_mode = DELETE; PRAGMA cache_size = 1; BEGIN; " + sql);
      hold_still();
    });
    EXPECT_EQ(names(), (std::set<std::string>{"ledger", "ledger-journal"}));
  }

  // The disk was writing it when the power failed.
  void lose_first_page() const {
    std::string bytes = files().at("ledger");
    bytes.replace(0, 512, 512, '\xA5');
    write_file(bytes);
  }
};

TEST_F(LedgerOpening, missing_file_is_made_with_the_tables) {
  EXPECT_EQ(error(), "");
  Probe probe(file());
  EXPECT_EQ(probe.rows("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name"),
            (Rows{"sample", "scalar"}));
  EXPECT_EQ(probe.rows("SELECT name, type, pk FROM pragma_table_info('scalar')"),
            (Rows{"key|TEXT|1", "value|INTEGER|0"}));
  EXPECT_EQ(probe.rows("SELECT name, type, pk FROM pragma_table_info('sample')"),
            (Rows{"id|INTEGER|1", "key|TEXT|0", "value|REAL|0"}));
}

TEST_F(LedgerOpening, file_says_what_it_is) {
  make_ledger();
  EXPECT_EQ(files().at("ledger").substr(68, 4), "HUBL");
  Probe probe(file());
  EXPECT_EQ(probe.rows("PRAGMA user_version"), Rows{"1"});
  EXPECT_EQ(probe.rows("PRAGMA journal_mode"), Rows{"wal"});
}

TEST_F(LedgerOpening, empty_file_counts_as_new) {
  write_file("");
  expect_new_ledger();
}

TEST_F(LedgerOpening, database_without_tables_counts_as_new) {
  change("VACUUM");
  EXPECT_GT(fs::file_size(file()), 0U);
  expect_new_ledger();
}

TEST_F(LedgerOpening, ledger_that_was_killed_before_it_had_tables_counts_as_new) {
  change("PRAGMA application_id = 0x4855424C");
  expect_new_ledger();
}

TEST_F(LedgerOpening, ledger_that_was_killed_while_its_file_changed_is_taken_back_to_before) {
  make_ledger();
  change_and_be_killed(kManyRows + " INSERT INTO scalar SELECT i, i FROM n");
  EXPECT_EQ(error(), "");
  EXPECT_EQ(scalars(), Rows{"presses|7"});
}

TEST_F(LedgerOpening, ledger_that_lost_power_while_its_first_page_changed_is_taken_back_to_before) {
  make_ledger();
  change_and_be_killed(kManyRows + " INSERT INTO scalar SELECT i, i FROM n");
  lose_first_page();
  EXPECT_EQ(error(), "");
  EXPECT_EQ(scalars(), Rows{"presses|7"});
}

TEST_F(LedgerOpening, file_that_lost_power_while_it_was_made_counts_as_new) {
  change_and_be_killed("CREATE TABLE scalar (key, value); " + kManyRows + " INSERT INTO scalar SELECT i, i FROM n");
  lose_first_page();
  expect_new_ledger();
}

TEST_F(LedgerOpening, several_that_make_the_same_file_all_open_it) {
  for (int turn = 0; turn < 10; ++turn) {
    in_threads(3, [this](std::size_t) {
      SqliteLedger ledger(file(), std::chrono::seconds(60));
      EXPECT_TRUE(ledger.add_to_scalar("a", 1));
    });
    EXPECT_EQ(scalars(), Rows{"a|3"});
    fs::remove(file());
  }
}

TEST_F(LedgerOpening, file_that_becomes_a_ledger_meanwhile_is_opened) {
  Probe probe(file());
  probe.run("BEGIN IMMEDIATE");
  std::thread opening([this] { EXPECT_EQ(error_of([this] { SqliteLedger(file()).set_scalar("a", 1); }), ""); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  probe.run(
      "PRAGMA application_id = 0x4855424C; PRAGMA user_version = 1;"
      "CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER);"
      "CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value REAL);"
      "INSERT INTO scalar VALUES ('b', 2); COMMIT");
  opening.join();
  EXPECT_EQ(scalars(), (Rows{"a|1", "b|2"}));
}

TEST_F(LedgerOpening, index_of_others_stays_and_is_kept_up) {
  make_ledger();
  change("CREATE INDEX other ON sample (key, value)");
  EXPECT_EQ(error(), "");
  SqliteLedger(file()).clear_distribution("latency");
  EXPECT_EQ(Probe(file()).rows("SELECT name FROM pragma_index_info('other') ORDER BY seqno"), (Rows{"key", "value"}));
  EXPECT_EQ(Probe(file()).rows("PRAGMA integrity_check"), Rows{"ok"});
}

TEST_F(LedgerOpening, every_name_of_a_file_is_just_a_name) {
  for (const char* name : {":memory:", "file:ledger?mode=memory", "100%25 #1?x=y", "d\u00fcse \"'"}) {
    EXPECT_EQ(error(name), "");
    EXPECT_EQ(error(name), "") << "again, when it exists";
    EXPECT_EQ(names(), std::set<std::string>{name});
    fs::remove(path(name));
  }
}

TEST_F(LedgerOpening, relative_name_counts_from_the_current_folder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  {
    SqliteLedger ledger(":memory:");
    fs::current_path(before);
    EXPECT_TRUE(ledger.set_scalar("a", 1));
  }
  EXPECT_EQ(names(), std::set<std::string>{":memory:"});
}

TEST_F(LedgerOpening, symbolic_link_stays_and_leads_to_the_ledger) {
  fs::create_symlink("ledger", path("link"));
  EXPECT_EQ(error("link"), "") << "to nothing yet";
  SqliteLedger(path("link")).set_scalar("a", 1);
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(scalars(), Rows{"a|1"});
}

TEST_F(LedgerOpening, place_where_no_ledger_can_be_is_refused) {
  EXPECT_EQ(error("none/ledger"), path("none/ledger") + ": there is no folder " + path("none"));
  EXPECT_EQ(error_of([] { const SqliteLedger ledger(""); }), ": is no name of a file");
  write_file("");
  EXPECT_EQ(error("ledger/ledger"), path("ledger/ledger") + ": there is no folder " + file());
  fs::create_symlink("loop", path("loop"));
  expect_contains(error("loop"), path("loop") + ": is no name of a file: ");
  EXPECT_EQ(names(), (std::set<std::string>{"ledger", "loop"}));
}

TEST_F(LedgerOpening, folder_is_refused) {
  fs::create_directory(file());
  EXPECT_EQ(error(), file() + ": is a folder, expected a ledger");
}

TEST_F(LedgerOpening, what_is_no_regular_file_is_refused) {
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(error(), file() + ": is no regular file, expected a ledger");
}

TEST_F(LedgerOpening, file_that_is_no_database_is_refused) {
  for (const std::string& content : {std::string("text\n"), std::string(1, '\0'), std::string(kPageSize, '\xFF'),
                                     std::string(3 * kPageSize, '\0')}) {
    write_file(content);
    expect_refusal("is no ledger: file is not a database");
  }
}

TEST_F(LedgerOpening, database_of_another_program_is_refused) {
  change("PRAGMA application_id = 0x12345678; CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER)");
  expect_refusal("is no ledger: expected a database with application id 0x4855424C, found 0x12345678");
}

TEST_F(LedgerOpening, database_with_tables_and_without_an_application_id_is_refused) {
  make_ledger();
  change("PRAGMA application_id = 0");
  expect_refusal("is no ledger: expected a database with application id 0x4855424C, found 0x00000000");
}

TEST_F(LedgerOpening, database_of_a_killed_program_is_refused_with_its_log_as_it_was) {
  do_and_be_killed([this](const auto& hold_still) {
    Probe probe(file());
    probe.run("PRAGMA journal_mode = WAL; CREATE TABLE other (x); INSERT INTO other VALUES (1)");
    hold_still();
  });
  const Files before = files();
  expect_contains(error(), "found 0x00000000");
  EXPECT_EQ(files().at("ledger"), before.at("ledger"));
  EXPECT_EQ(files().at("ledger-wal"), before.at("ledger-wal"));
}

TEST_F(LedgerOpening, unfinished_change_of_another_program_is_left_to_it) {
  change("PRAGMA application_id = 5; CREATE TABLE other (x)");
  change_and_be_killed(kManyRows + " INSERT INTO other SELECT i FROM n");
  expect_refusal("is ");
  lose_first_page();
  expect_refusal("is no ledger: file is not a database");
}

TEST_F(LedgerOpening, another_version_is_refused) {
  make_ledger();
  for (const std::string version : {"0", "2", "-1"}) {
    change("PRAGMA user_version = " + version);
    expect_refusal("is a ledger of version " + version + ", expected 1");
  }
}

TEST_F(LedgerOpening, other_tables_are_refused) {
  for (const char* sql :
       {"DROP TABLE scalar", "DROP TABLE sample", "CREATE TABLE another (x)", "ALTER TABLE scalar ADD COLUMN more TEXT",
        "ALTER TABLE sample RENAME COLUMN key TO name",
        "DROP TABLE sample; CREATE TABLE sample (id INTEGER PRIMARY KEY, key TEXT, value TEXT)",
        "DROP TABLE scalar; CREATE TABLE scalar (key TEXT, value INTEGER)", "CREATE VIEW another AS SELECT 1",
        "CREATE TRIGGER another AFTER INSERT ON scalar BEGIN DELETE FROM sample; END"}) {
    make_ledger();
    change(sql);
    expect_refusal(
        "has not the tables of a ledger: expected \"table sample id INTEGER PRIMARY KEY, key TEXT, value REAL; "
        "table scalar key TEXT PRIMARY KEY, value INTEGER\", found \"");
    fs::remove(file());
  }
}

TEST_F(LedgerOpening, refusal_of_tables_tells_what_was_found) {
  make_ledger();
  change("DROP TABLE sample; CREATE VIEW v AS SELECT 1 AS one");
  expect_refusal(
      "has not the tables of a ledger: expected \"table sample id INTEGER PRIMARY KEY, key TEXT, value REAL; "
      "table scalar key TEXT PRIMARY KEY, value INTEGER\", found \"table scalar key TEXT PRIMARY KEY, value "
      "INTEGER; view v one \"");
}

TEST_F(LedgerOpening, file_that_was_cut_is_refused_unless_nothing_is_left) {
  make_ledger();
  const std::string whole = files().at("ledger");
  for (std::size_t page = 0; page * kPageSize < whole.size(); ++page) {
    for (const std::size_t length : {page * kPageSize + 1, page * kPageSize + 100, (page + 1) * kPageSize - 1}) {
      write_file(whole.substr(0, length));
      expect_refusal("is ");
    }
  }
  write_file("");
  expect_new_ledger();
}

TEST_F(LedgerOpening, file_with_a_page_overwritten_is_refused) {
  make_ledger();
  const std::string whole = files().at("ledger");
  ASSERT_GE(whole.size(), 4 * kPageSize);
  for (std::size_t start = 0; start < whole.size(); start += kPageSize) {
    for (const char byte : {'\0', '\x55', '\xFF'}) {
      write_file(std::string(whole).replace(start, kPageSize, kPageSize, byte));
      expect_refusal("is ");
    }
  }
}

TEST_F(LedgerOpening, file_with_an_index_that_does_not_fit_is_refused) {
  make_ledger();
  change("CREATE INDEX other ON sample (key)");
  std::string bytes = files().at("ledger");
  const std::size_t in_index = bytes.rfind("latency");
  bytes[in_index] = 'L';
  write_file(bytes);
  expect_refusal("is damaged: ");
}

TEST_F(LedgerOpening, file_with_a_page_of_nonsense_is_refused_in_one_line) {
  make_ledger();
  std::string bytes = files().at("ledger");
  bytes.replace(bytes.size() - kPageSize, kPageSize, kPageSize, '\xA5');
  write_file(bytes);
  expect_refusal("is damaged: Page ");
  EXPECT_EQ(error().find('\n'), std::string::npos);
}

TEST_F(LedgerOpening, ledger_with_a_row_that_no_ledger_files_is_refused) {
  make_ledger();
  change("UPDATE sample SET value = 9e999");
  expect_refusal("is damaged: sample has a row of text and no finite real");
}

TEST_F(LedgerOpening, file_locked_by_another_process_is_refused_and_opens_later) {
  make_ledger();
  {
    const OtherProcess other([this](const auto& hold_still) {
      Probe probe(file());
      probe.run("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE scalar SET value = 8; COMMIT");
      hold_still();
    });
    EXPECT_EQ(error(), file() + ": is locked by another connection, try again when that has ended: database is locked");
  }
  EXPECT_EQ(error(), "");
  EXPECT_EQ(scalars(), Rows{"presses|8"});
}

TEST_F(LedgerOpening, ledger_opens_while_another_process_is_in_a_batch) {
  make_ledger();
  const OtherProcess other([this](const auto& hold_still) {
    SqliteLedger ledger(file());
    ledger.begin_batch();
    ledger.set_scalar("presses", 8);
    hold_still();
  });
  EXPECT_EQ(error(), "");
}

TEST_F(LedgerOpening, file_without_the_right_to_write_is_refused) {
  make_ledger();
  chmod(folder_.c_str(), 0777);
  for (const auto& [mode, reason] : {std::pair{0444, "cannot be read and written: Permission denied"},
                                     std::pair{0222, "cannot be read and written: Permission denied"}}) {
    chmod(file().c_str(), static_cast<mode_t>(mode));
    const Files before = files();
    EXPECT_EQ(error_of_ordinary_user([this] { const SqliteLedger ledger(file()); }), file() + ": " + reason);
    EXPECT_TRUE(files() == before);
  }
}

TEST_F(LedgerOpening, folder_without_the_right_to_write_is_refused) {
  make_ledger();
  chmod(file().c_str(), 0666);
  chmod(folder_.c_str(), 0555);
  const std::string reason = ": needs a folder that can be written, for its log: Permission denied";
  EXPECT_EQ(error_of_ordinary_user([this] { const SqliteLedger ledger(file()); }), file() + reason);
  EXPECT_EQ(error_of_ordinary_user([this] { const SqliteLedger ledger(path("new")); }), path("new") + reason);
  chmod(folder_.c_str(), 0755);
  EXPECT_EQ(names(), std::set<std::string>{"ledger"});
}

TEST_F(LedgerOpening, ordinary_user_opens_what_he_may_write) {
  make_ledger();
  chmod(file().c_str(), 0666);
  chmod(folder_.c_str(), 0777);
  EXPECT_EQ(error_of_ordinary_user([this] { SqliteLedger(file()).set_scalar("presses", 8); }), "");
  EXPECT_EQ(scalars(), Rows{"presses|8"});
}

TEST_F(LedgerOpening, ledger_that_finds_no_room_is_an_error_and_can_be_made_later) {
  for (const rlim_t size_bytes : {1U, 4096U, 8192U, 16384U}) {
    {
      const NoRoom no_room(size_bytes);
      expect_contains(error(), file() + ": cannot be read or written: disk I/O error");
    }
    expect_new_ledger();
    fs::remove(file());
  }
}

}  // namespace
}  // namespace hub::test
