// SPDX-License-Identifier: Apache-2.0
// Reading a ledger's file: what is found in it, and that nothing is changed by it.
#include "ledger/ledger_contents.h"

#include <atomic>
#include <cfloat>
#include <thread>

#include "tests/platform/ledger_fixture.h"

namespace hub::test {
namespace {

using platform::DistributionSummary;
using platform::LedgerContents;
using platform::read_ledger;
using Scalars = std::map<std::string, std::int64_t>;
using Distributions = std::map<std::string, DistributionSummary>;

class ReadLedger : public LedgerTest {
 protected:
  [[nodiscard]] std::string error() const {
    return error_of([this] { read_ledger(file(), kShortPatience); });
  }

  void push(const std::string& key, const std::vector<double>& values) const {
    SqliteLedger ledger(file());
    for (const double value : values) {
      EXPECT_TRUE(ledger.push_to_distribution(key, value));
    }
  }

  [[nodiscard]] DistributionSummary summary(const std::string& key) const {
    return read_ledger(file()).distributions.at(key);
  }

  static void expect_made_contents(const LedgerContents& contents) {
    EXPECT_EQ(contents.scalars, (Scalars{{"presses", 7}}));
    EXPECT_EQ(contents.distributions, (Distributions{{"latency", {2, 0.25, 0.875, 1.5}}}));
  }
};

TEST_F(ReadLedger, gives_scalars_and_a_summary_of_each_distribution) {
  make_ledger();
  push("other", {-4});
  const LedgerContents contents = read_ledger(file());
  EXPECT_EQ(contents.scalars, (Scalars{{"presses", 7}}));
  EXPECT_EQ(contents.distributions, (Distributions{{"latency", {2, 0.25, 0.875, 1.5}}, {"other", {1, -4, -4, -4}}}));
}

TEST_F(ReadLedger, ledger_with_nothing_in_it_gives_nothing) {
  { const SqliteLedger made(file()); }
  const LedgerContents contents = read_ledger(file());
  EXPECT_EQ(contents.scalars, Scalars{});
  EXPECT_EQ(contents.distributions, Distributions{});
}

TEST_F(ReadLedger, mean_of_the_largest_samples_is_a_number) {
  push("a", {DBL_MAX, DBL_MAX, DBL_MAX});
  EXPECT_EQ(summary("a"), (DistributionSummary{3, DBL_MAX, DBL_MAX, DBL_MAX}));
  push("b", {-DBL_MAX, DBL_MAX});
  EXPECT_EQ(summary("b"), (DistributionSummary{2, -DBL_MAX, 0, DBL_MAX}));
}

TEST_F(ReadLedger, mean_does_not_lose_small_samples_beside_large_ones) {
  push("a", {9007199254740992, 1, 1, 1, 1});
  EXPECT_EQ(summary("a").mean, 9007199254740996.0 / 5);
}

TEST_F(ReadLedger, leaves_the_file_as_it_is_and_nothing_beside_it) {
  make_ledger();
  const Files before = files();
  const auto changed_before = fs::last_write_time(file());
  expect_made_contents(read_ledger(file()));
  EXPECT_TRUE(files() == before);
  EXPECT_EQ(fs::last_write_time(file()), changed_before);
}

TEST_F(ReadLedger, name_with_every_kind_of_character_is_found) {
  const std::string name = path("100%25 #1?mode=memory");
  SqliteLedger(name).set_scalar("a", 1);
  EXPECT_EQ(read_ledger(name).scalars, (Scalars{{"a", 1}}));
}

TEST_F(ReadLedger, log_of_a_killed_process_is_read_and_stays) {
  make_ledger_and_be_killed();
  const Files before = files();
  expect_made_contents(read_ledger(file()));
  EXPECT_EQ(files().at("ledger"), before.at("ledger"));
  EXPECT_EQ(files().at("ledger-wal"), before.at("ledger-wal"));
}

TEST_F(ReadLedger, log_without_its_index_is_read_as_well) {
  make_ledger_and_be_killed();
  fs::remove(file() + "-shm");
  expect_made_contents(read_ledger(file()));
}

TEST_F(ReadLedger, open_batch_of_another_process_is_not_seen) {
  const OtherProcess other([this](const auto& hold_still) {
    SqliteLedger ledger(file());
    ledger.set_scalar("a", 1);
    ledger.begin_batch();
    ledger.set_scalar("a", 2);
    hold_still();
  });
  EXPECT_EQ(read_ledger(file()).scalars, (Scalars{{"a", 1}}));
}

TEST_F(ReadLedger, each_reading_is_of_one_moment_while_another_connection_writes) {
  make_ledger();
  std::atomic<bool> written = false;
  std::thread writing([&] {
    for (int turn = 0; turn < 40; ++turn) {
      SqliteLedger ledger(file());
      for (int batch = 0; batch < 10; ++batch) {
        ledger.begin_batch();
        ledger.add_to_scalar("a", 1);
        ledger.push_to_distribution("a", 1);
        ledger.commit_batch();
      }
    }
    written = true;
  });
  while (!written) {
    LedgerContents contents = read_ledger(file());
    EXPECT_EQ(static_cast<std::uint64_t>(contents.scalars["a"]), contents.distributions["a"].count);
  }
  writing.join();
}

TEST_F(ReadLedger, missing_file_is_an_error_and_is_not_made) {
  EXPECT_EQ(error(), file() + ": cannot be read: No such file or directory");
  EXPECT_EQ(names(), std::set<std::string>{});
}

TEST_F(ReadLedger, empty_file_is_an_error_and_stays_empty) {
  write_file("");
  expect_contains(error(), file() + ": is no ledger: ");
  EXPECT_EQ(files(), (Files{{"ledger", ""}}));
}

TEST_F(ReadLedger, what_is_no_ledger_is_an_error_and_stays) {
  write_file("text\n");
  EXPECT_EQ(error(), file() + ": is no ledger: file is not a database");
  EXPECT_EQ(files(), (Files{{"ledger", "text\n"}}));
  fs::remove(file());
  change("CREATE TABLE other (x)");
  const Files before = files();
  EXPECT_EQ(error(), file() + ": is no ledger: expected a database with application id 0x4855424C, found 0x00000000");
  EXPECT_TRUE(files() == before);
}

TEST_F(ReadLedger, another_version_is_an_error) {
  make_ledger();
  change("PRAGMA user_version = 2");
  EXPECT_EQ(error(), file() + ": is a ledger of version 2, expected 1");
}

TEST_F(ReadLedger, damaged_ledger_is_an_error) {
  make_ledger();
  std::string bytes = files().at("ledger");
  bytes.resize(bytes.size() - 1);
  write_file(bytes);
  expect_contains(error(), file() + ": is damaged: ");
}

TEST_F(ReadLedger, control_characters_in_a_file_are_told_as_numbers) {
  make_ledger();
  change("CREATE TABLE \"a\x1B\nb\x7F\" (x)");
  expect_contains(error(), "found \"table a\\x1b\\x0ab\\x7f x ; ");
}

// Tables take any value in any column: these come from another program, and would be reported as what they are not.
TEST_F(ReadLedger, row_that_no_ledger_files_is_an_error) {
  const std::map<std::string, std::string> said = {
      {"UPDATE scalar SET key = NULL", "scalar has a row of null and integer, expected text and integer"},
      {"INSERT INTO scalar VALUES (x'70', 1)", "scalar has a row of blob and integer, expected text and integer"},
      {"UPDATE scalar SET value = 1.5", "scalar has a row of text and real, expected text and integer"},
      {"UPDATE scalar SET value = NULL", "scalar has a row of text and null, expected text and integer"},
      {"UPDATE sample SET key = NULL", "sample has a row of null and real, expected text and finite real"},
      {"UPDATE sample SET value = x'00'", "sample has a row of text and blob, expected text and finite real"},
      {"UPDATE sample SET value = NULL", "sample has a row of text and null, expected text and finite real"},
      {"UPDATE sample SET value = 9e999", "sample has a row of text and no finite real, expected text and finite real"},
  };
  for (const auto& [sql, what] : said) {
    make_ledger();
    change(sql);
    EXPECT_EQ(error(), file() + ": is damaged: " + what) << sql;
    fs::remove(file());
  }
}

TEST_F(ReadLedger, folder_is_an_error) {
  fs::create_directory(file());
  EXPECT_EQ(error(), file() + ": is a folder, expected a ledger");
}

TEST_F(ReadLedger, locked_ledger_is_an_error) {
  make_ledger();
  const OtherProcess other([this](const auto& hold_still) {
    Probe probe(file());
    probe.run("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE scalar SET value = 8; COMMIT");
    hold_still();
  });
  EXPECT_EQ(error(), file() + ": is locked by another connection, try again when that has ended: database is locked");
}

TEST_F(ReadLedger, read_only_file_in_a_read_only_folder_is_read) {
  make_ledger();
  chmod(file().c_str(), 0444);
  chmod(folder_.c_str(), 0555);
  EXPECT_EQ(error_of_ordinary_user([this] { expect_made_contents(read_ledger(file())); }), "");
  chmod(folder_.c_str(), 0755);
}

TEST_F(ReadLedger, log_in_a_read_only_folder_is_read_by_its_index_and_without_one_an_error) {
  make_ledger_and_be_killed();
  chmod(folder_.c_str(), 0555);
  EXPECT_EQ(error_of_ordinary_user([this] { expect_made_contents(read_ledger(file())); }), "") << "its index is there";
  chmod(folder_.c_str(), 0755);
  fs::remove(file() + "-shm");
  chmod(folder_.c_str(), 0555);
  EXPECT_EQ(error_of_ordinary_user([this] { read_ledger(file()); }),
            file() + ": needs a folder that can be written, to recover its log: Permission denied");
  chmod(folder_.c_str(), 0755);
}

TEST_F(ReadLedger, unfinished_change_of_a_killed_process_is_an_error) {
  make_ledger();
  do_and_be_killed([&](const auto& hold_still) {
    Probe probe(file());
    probe.run(
        "PRAGMA journal_mode = DELETE; PRAGMA cache_size = 1; BEGIN;"
        "WITH RECURSIVE n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 9999)"
        " INSERT INTO scalar SELECT i, i FROM n");
    hold_still();
  });
  const Files before = files();
  expect_contains(error(), file() + ": holds an unfinished change, which only one who may write it can take back: ");
  EXPECT_TRUE(files() == before);
}

TEST_F(ReadLedger, file_without_the_right_to_read_is_an_error) {
  make_ledger();
  chmod(file().c_str(), 0200);
  EXPECT_EQ(error_of_ordinary_user([this] { read_ledger(file()); }), file() + ": cannot be read: Permission denied");
}

}  // namespace
}  // namespace hub::test
