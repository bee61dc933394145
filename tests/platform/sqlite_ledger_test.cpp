// SPDX-License-Identifier: Apache-2.0
// What operations and batches leave in the database, also when the disk is full and when the process is killed.
#include "ledger/sqlite_ledger.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "tests/platform/ledger_fixture.h"

namespace hub::test {
namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr rlim_t kFewPages = 64 * 1024;

class SqliteLedgerTest : public LedgerTest {
 protected:
  // Operations until one is refused: more than SQLite keeps in memory.
  static bool fill(SqliteLedger& ledger) {
    const std::string long_key(10'000, 'k');
    for (int number = 0; number < 1000; ++number) {
      if (!ledger.set_scalar(long_key + std::to_string(number), number)) {
        return false;
      }
    }
    return true;
  }
};

TEST_F(SqliteLedgerTest, setting_a_scalar_replaces_it) {
  SqliteLedger ledger(file());
  EXPECT_TRUE(ledger.set_scalar("a", 5));
  EXPECT_TRUE(ledger.set_scalar("b", 6));
  EXPECT_TRUE(ledger.set_scalar("a", -7));
  EXPECT_EQ(scalars(), (Rows{"a|-7", "b|6"}));
}

TEST_F(SqliteLedgerTest, scalars_take_the_ends_of_64_bits) {
  SqliteLedger ledger(file());
  EXPECT_TRUE(ledger.set_scalar("high", kHighest));
  EXPECT_TRUE(ledger.set_scalar("low", kLowest));
  EXPECT_EQ(scalars(), (Rows{"high|9223372036854775807", "low|-9223372036854775808"}));
}

TEST_F(SqliteLedgerTest, adding_starts_from_zero_and_goes_on) {
  SqliteLedger ledger(file());
  EXPECT_TRUE(ledger.add_to_scalar("a", 5));
  EXPECT_EQ(scalars(), Rows{"a|5"});
  EXPECT_TRUE(ledger.add_to_scalar("a", -12));
  EXPECT_EQ(scalars(), Rows{"a|-7"});
}

TEST_F(SqliteLedgerTest, sum_beyond_either_end_wraps_around_and_stays_an_integer) {
  SqliteLedger ledger(file());
  ledger.set_scalar("down", kLowest);
  ledger.set_scalar("twice", kLowest);
  ledger.set_scalar("up", kHighest);
  EXPECT_TRUE(ledger.add_to_scalar("down", -1));
  EXPECT_TRUE(ledger.add_to_scalar("twice", kLowest));
  EXPECT_TRUE(ledger.add_to_scalar("up", 1));
  EXPECT_EQ(Probe(file()).rows("SELECT key, value, typeof(value) FROM scalar ORDER BY key"),
            (Rows{"down|9223372036854775807|integer", "twice|0|integer", "up|-9223372036854775808|integer"}));
}

TEST_F(SqliteLedgerTest, clearing_a_scalar_removes_its_row_and_no_other) {
  SqliteLedger ledger(file());
  ledger.set_scalar("a", 5);
  ledger.set_scalar("b", 6);
  EXPECT_TRUE(ledger.clear_scalar("a"));
  EXPECT_TRUE(ledger.clear_scalar("never set"));
  EXPECT_EQ(scalars(), Rows{"b|6"});
  EXPECT_TRUE(ledger.add_to_scalar("a", 1));
  EXPECT_EQ(scalars(), (Rows{"a|1", "b|6"}));
}

TEST_F(SqliteLedgerTest, pushed_samples_stand_in_their_order) {
  SqliteLedger ledger(file());
  EXPECT_TRUE(ledger.push_to_distribution("a", 3));
  EXPECT_TRUE(ledger.push_to_distribution("b", -1));
  EXPECT_TRUE(ledger.push_to_distribution("a", 3));
  EXPECT_TRUE(ledger.push_to_distribution("a", 2));
  EXPECT_EQ(samples(), (Rows{"a|3", "b|-1", "a|3", "a|2"}));
}

TEST_F(SqliteLedgerTest, samples_are_exact) {
  SqliteLedger ledger(file());
  for (const double sample : {0.1, DBL_MAX, -DBL_MAX, DBL_TRUE_MIN, 9007199254740993.0, 1e18}) {
    EXPECT_TRUE(ledger.push_to_distribution("a", sample));
  }
  EXPECT_EQ(
      Probe(file()).rows("SELECT value FROM sample ORDER BY id"),
      (Rows{"0.1", "1.7976931348623157e+308", "-1.7976931348623157e+308", "5e-324", "9007199254740992", "1e+18"}));
}

TEST_F(SqliteLedgerTest, setting_a_distribution_leaves_this_one_sample) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.push_to_distribution("other", 4);
  EXPECT_TRUE(ledger.set_distribution("latency", 9));
  EXPECT_EQ(samples(), (Rows{"other|4", "latency|9"}));
  EXPECT_TRUE(ledger.set_distribution("new", 1));
  EXPECT_EQ(samples(), (Rows{"other|4", "latency|9", "new|1"}));
}

TEST_F(SqliteLedgerTest, clearing_a_distribution_removes_its_samples_and_no_others) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.push_to_distribution("other", 4);
  EXPECT_TRUE(ledger.clear_distribution("latency"));
  EXPECT_TRUE(ledger.clear_distribution("never set"));
  EXPECT_EQ(samples(), Rows{"other|4"});
}

TEST_F(SqliteLedgerTest, clearing_a_distribution_leaves_the_samples_of_others_among_its_own) {
  SqliteLedger ledger(file());
  for (const double sample : {1, 2, 3}) {
    ledger.push_to_distribution("a", sample);
    ledger.push_to_distribution("b", sample);
  }
  EXPECT_TRUE(ledger.clear_distribution("a"));
  EXPECT_EQ(samples(), (Rows{"b|1", "b|2", "b|3"}));
}

TEST_F(SqliteLedgerTest, clearing_finds_what_another_connection_has_filed_since) {
  SqliteLedger ledger(file());
  ledger.push_to_distribution("a", 1);
  Probe(file()).run("INSERT INTO sample VALUES (-5, 'a', 2), (7, 'b', 3), (9, 'a', 4), (10, 'c', 5)");
  EXPECT_TRUE(ledger.clear_distribution("a"));
  EXPECT_TRUE(ledger.clear_distribution("b"));
  EXPECT_EQ(samples(), Rows{"c|5"});
}

TEST_F(SqliteLedgerTest, distribution_whose_clearing_was_taken_back_can_be_cleared) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.clear_distribution("latency");
  ledger.abandon_batch();
  EXPECT_TRUE(ledger.clear_distribution("latency"));
  EXPECT_EQ(samples(), Rows{});
}

TEST_F(SqliteLedgerTest, samples_that_the_batch_itself_has_written_can_be_cleared) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.push_to_distribution("a", 1);
  ledger.push_to_distribution("b", 2);
  ledger.push_to_distribution("a", 3);
  EXPECT_EQ(ledger.contents().distributions.size(), 2U) << "asking writes them";
  ledger.clear_distribution("a");
  ledger.commit_batch();
  EXPECT_EQ(samples(), Rows{"b|2"});
}

TEST_F(SqliteLedgerTest, order_holds_after_the_newest_samples_were_cleared) {
  SqliteLedger ledger(file());
  ledger.push_to_distribution("a", 1);
  ledger.push_to_distribution("b", 2);
  ledger.clear_distribution("b");
  ledger.push_to_distribution("a", 3);
  ledger.set_distribution("b", 4);
  EXPECT_EQ(samples(), (Rows{"a|1", "a|3", "b|4"}));
}

TEST_F(SqliteLedgerTest, sample_after_the_last_number_is_refused_rather_than_put_elsewhere) {
  SqliteLedger ledger(file());
  change("INSERT INTO sample VALUES (9223372036854775807, 'a', 1)");
  EXPECT_FALSE(ledger.push_to_distribution("a", 2));
  EXPECT_EQ(samples(), Rows{"a|1"});
}

TEST_F(SqliteLedgerTest, distribution_that_cannot_be_set_keeps_its_samples) {
  make_ledger();
  SqliteLedger ledger(file());
  change("INSERT INTO sample VALUES (9223372036854775807, 'last', 1)");
  EXPECT_FALSE(ledger.set_distribution("latency", 2));
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25", "last|1"}));
  EXPECT_TRUE(ledger.clear_distribution("last"));
  EXPECT_TRUE(ledger.set_distribution("latency", 2));
  EXPECT_EQ(samples(), Rows{"latency|2"});
}

TEST_F(SqliteLedgerTest, batch_fails_with_whatever_operation_fails) {
  make_ledger();
  SqliteLedger ledger(file());
  change("INSERT INTO sample VALUES (9223372036854775807, 'last', 1)");
  ledger.begin_batch();
  EXPECT_TRUE(ledger.set_scalar("presses", 8));
  EXPECT_FALSE(ledger.set_distribution("latency", 2));
  EXPECT_FALSE(ledger.set_scalar("presses", 9));
  EXPECT_EQ(error_of([&] { ledger.commit_batch(); }), file() + ": has no number left for another sample");
  EXPECT_EQ(scalars(), Rows{"presses|7"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25", "last|1"}));
}

TEST_F(SqliteLedgerTest, scalar_and_distribution_of_one_key_are_apart) {
  SqliteLedger ledger(file());
  ledger.set_scalar("a", 5);
  ledger.push_to_distribution("a", 6);
  ledger.clear_scalar("a");
  EXPECT_EQ(samples(), Rows{"a|6"});
  ledger.set_scalar("a", 5);
  ledger.clear_distribution("a");
  EXPECT_EQ(scalars(), Rows{"a|5"});
}

TEST_F(SqliteLedgerTest, sample_that_is_no_finite_number_is_not_filed) {
  make_ledger();
  SqliteLedger ledger(file());
  for (const double sample : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    EXPECT_FALSE(ledger.push_to_distribution("latency", sample));
    EXPECT_FALSE(ledger.set_distribution("latency", sample));
  }
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25"}));
}

TEST_F(SqliteLedgerTest, sample_that_is_no_finite_number_does_not_fail_the_batch) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  EXPECT_FALSE(ledger.push_to_distribution("a", std::nan("")));
  EXPECT_TRUE(ledger.push_to_distribution("a", 1));
  ledger.commit_batch();
  EXPECT_EQ(samples(), Rows{"a|1"});
}

TEST_F(SqliteLedgerTest, keys_differ_in_every_byte) {
  SqliteLedger ledger(file());
  for (const char* key : {"key", "Key", "key ", "", "d\u00fcse", "k'; DROP TABLE scalar; --"}) {
    EXPECT_TRUE(ledger.add_to_scalar(key, 1));
  }
  EXPECT_TRUE(ledger.add_to_scalar({}, 1)) << "the empty key again";
  EXPECT_EQ(scalars(), (Rows{"|2", "Key|1", "d\u00fcse|1", "k'; DROP TABLE scalar; --|1", "key|1", "key |1"}));
}

TEST_F(SqliteLedgerTest, key_is_lent_for_the_call_only) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  std::string key(100, 'a');
  ledger.set_scalar(key, 1);
  key.assign(100, 'b');
  ledger.set_scalar(key, 2);
  ledger.commit_batch();
  EXPECT_EQ(scalars(), (Rows{std::string(100, 'a') + "|1", std::string(100, 'b') + "|2"}));
}

TEST_F(SqliteLedgerTest, reopened_ledger_is_added_to) {
  make_ledger();
  {
    SqliteLedger ledger(file());
    ledger.add_to_scalar("presses", 1);
    ledger.push_to_distribution("latency", 3);
  }
  EXPECT_EQ(scalars(), Rows{"presses|8"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25", "latency|3"}));
}

TEST_F(SqliteLedgerTest, closed_ledger_is_one_file) {
  make_ledger();
  EXPECT_EQ(names(), std::set<std::string>{"ledger"});
}

TEST_F(SqliteLedgerTest, batch_appears_as_a_whole_when_it_is_committed) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  EXPECT_TRUE(ledger.add_to_scalar("a", 1));
  EXPECT_TRUE(ledger.set_distribution("a", 2));
  EXPECT_EQ(scalars(), Rows{});
  EXPECT_EQ(samples(), Rows{});
  ledger.commit_batch();
  EXPECT_EQ(scalars(), Rows{"a|1"});
  EXPECT_EQ(samples(), Rows{"a|2"});
}

TEST_F(SqliteLedgerTest, operation_outside_a_batch_is_there_at_once) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.commit_batch();
  ledger.add_to_scalar("a", 1);
  EXPECT_EQ(scalars(), Rows{"a|1"});
}

TEST_F(SqliteLedgerTest, abandoned_batch_leaves_what_was_there_before) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.clear_scalar("presses");
  ledger.set_distribution("latency", 9);
  ledger.abandon_batch();
  EXPECT_EQ(scalars(), Rows{"presses|7"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25"}));
  ledger.begin_batch();
  ledger.add_to_scalar("presses", 1);
  ledger.commit_batch();
  EXPECT_EQ(scalars(), Rows{"presses|8"});
}

TEST_F(SqliteLedgerTest, batch_that_is_open_at_the_end_is_abandoned) {
  make_ledger();
  {
    SqliteLedger ledger(file());
    ledger.begin_batch();
    ledger.set_scalar("presses", 8);
  }
  EXPECT_EQ(scalars(), Rows{"presses|7"});
}

TEST_F(SqliteLedgerTest, batch_with_a_failed_operation_is_not_committed_and_says_why) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.set_scalar("presses", 8);
  {
    const NoRoom no_room(kFewPages);
    EXPECT_FALSE(fill(ledger));
  }
  EXPECT_FALSE(ledger.set_scalar("after", 1)) << "there is room again, but the batch has failed";
  EXPECT_EQ(error_of([&] { ledger.commit_batch(); }), file() + ": cannot be read or written: disk I/O error");
  EXPECT_EQ(scalars(), Rows{"presses|7"});
}

TEST_F(SqliteLedgerTest, ledger_goes_on_after_a_failed_batch) {
  SqliteLedger ledger(file());
  for (const bool commit : {true, false}) {
    ledger.begin_batch();
    {
      const NoRoom no_room(kFewPages);
      EXPECT_FALSE(fill(ledger));
    }
    EXPECT_EQ(error_of([&] { commit ? ledger.commit_batch() : ledger.abandon_batch(); }).empty(), !commit);
    EXPECT_TRUE(ledger.add_to_scalar("a", 1));
  }
  ledger.begin_batch();
  EXPECT_TRUE(ledger.add_to_scalar("a", 1));
  ledger.commit_batch();
  EXPECT_EQ(scalars(), Rows{"a|3"});
}

TEST_F(SqliteLedgerTest, batch_that_finds_no_room_at_its_commit_is_absent) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  EXPECT_TRUE(ledger.set_scalar("presses", 8));
  {
    const NoRoom no_room(1);
    expect_contains(error_of([&] { ledger.commit_batch(); }), "cannot be read or written: disk I/O error");
  }
  EXPECT_EQ(scalars(), Rows{"presses|7"});
  EXPECT_TRUE(ledger.set_scalar("presses", 9));
  EXPECT_EQ(scalars(), Rows{"presses|9"});
}

TEST_F(SqliteLedgerTest, operation_without_room_gives_false_and_changes_nothing) {
  make_ledger();
  SqliteLedger ledger(file());
  {
    const NoRoom no_room(1);
    EXPECT_FALSE(ledger.add_to_scalar("presses", 1));
    EXPECT_FALSE(ledger.clear_scalar("presses"));
    EXPECT_FALSE(ledger.push_to_distribution("latency", 9));
    EXPECT_FALSE(ledger.set_distribution("latency", 9));
    EXPECT_FALSE(ledger.clear_distribution("latency"));
  }
  EXPECT_EQ(scalars(), Rows{"presses|7"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25"}));
  EXPECT_TRUE(ledger.set_distribution("latency", 9));
  EXPECT_EQ(samples(), Rows{"latency|9"});
}

TEST_F(SqliteLedgerTest, large_batch_is_whole) {
  {
    SqliteLedger ledger(file());
    ledger.begin_batch();
    EXPECT_TRUE(fill(ledger));
    ledger.commit_batch();
  }
  EXPECT_EQ(Probe(file()).rows("SELECT count(*), sum(value) FROM scalar"), Rows{"1000|499500"});
}

TEST_F(SqliteLedgerTest, killed_process_leaves_its_batches_and_nothing_of_the_one_it_was_in) {
  do_and_be_killed([this](const auto& hold_still) {
    SqliteLedger ledger(file());
    ledger.begin_batch();
    ledger.set_scalar("a", 1);
    ledger.push_to_distribution("a", 2);
    ledger.commit_batch();
    ledger.begin_batch();
    ledger.set_scalar("a", 3);
    ledger.push_to_distribution("a", 4);
    hold_still();
  });
  const SqliteLedger ledger(file());
  EXPECT_EQ(scalars(), Rows{"a|1"});
  EXPECT_EQ(samples(), Rows{"a|2"});
}

TEST_F(SqliteLedgerTest, killed_process_leaves_nothing_of_a_batch_that_was_in_part_on_the_disk) {
  do_and_be_killed([this](const auto& hold_still) {
    SqliteLedger ledger(file());
    ledger.set_scalar("before", 1);
    ledger.begin_batch();
    if (fill(ledger)) {
      hold_still();
    }
  });
  EXPECT_GT(fs::file_size(file() + "-wal"), 1'000'000U);
  const SqliteLedger ledger(file());
  EXPECT_EQ(scalars(), Rows{"before|1"});
}

TEST_F(SqliteLedgerTest, operations_of_a_killed_process_outside_a_batch_are_there) {
  make_ledger_and_be_killed();
  const SqliteLedger ledger(file());
  EXPECT_EQ(scalars(), Rows{"presses|7"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25"}));
}

TEST_F(SqliteLedgerTest, batch_waits_for_another_connections_and_then_gives_up) {
  SqliteLedger first(file());
  SqliteLedger second(file(), kShortPatience);
  first.begin_batch();
  first.set_scalar("a", 1);
  EXPECT_EQ(error_of([&] { second.begin_batch(); }),
            file() + ": is locked by another connection, try again when that has ended: database is locked");
  EXPECT_FALSE(second.set_scalar("b", 1));
  first.commit_batch();
  second.begin_batch();
  second.add_to_scalar("a", 1);
  second.commit_batch();
  EXPECT_EQ(scalars(), Rows{"a|2"});
}

TEST_F(SqliteLedgerTest, connections_at_once_lose_nothing_of_each_other) {
  { const SqliteLedger made(file()); }
  in_threads(3, [this](std::size_t) {
    SqliteLedger ledger(file(), std::chrono::seconds(60));
    for (int batch = 0; batch < 20; ++batch) {
      ledger.begin_batch();
      EXPECT_TRUE(ledger.add_to_scalar("a", 1));
      EXPECT_TRUE(ledger.push_to_distribution("a", 1));
      ledger.commit_batch();
    }
  });
  EXPECT_EQ(scalars(), Rows{"a|60"});
  EXPECT_EQ(Probe(file()).rows("SELECT count(*) FROM sample"), Rows{"60"});
}

TEST_F(SqliteLedgerTest, ledger_in_memory_keeps_the_same_promises_without_a_file) {
  SqliteLedger ledger;
  ledger.begin_batch();
  EXPECT_TRUE(ledger.set_scalar("a", kHighest));
  EXPECT_TRUE(ledger.add_to_scalar("a", 2));
  EXPECT_TRUE(ledger.push_to_distribution("b", 1));
  EXPECT_TRUE(ledger.push_to_distribution("b", 2));
  ledger.commit_batch();
  ledger.begin_batch();
  EXPECT_TRUE(ledger.clear_scalar("a"));
  EXPECT_TRUE(ledger.set_distribution("b", 5));
  ledger.abandon_batch();
  const platform::LedgerContents contents = ledger.contents();
  EXPECT_EQ(contents.scalars, (std::map<std::string, std::int64_t>{{"a", kLowest + 1}}));
  EXPECT_EQ(contents.distributions.at("b"), (platform::DistributionSummary{2, 1, 1.5, 2}));
}

TEST_F(SqliteLedgerTest, ledgers_in_memory_are_apart) {
  SqliteLedger first;
  SqliteLedger second;
  first.set_scalar("a", 1);
  EXPECT_TRUE(second.contents().scalars.empty());
}

using SqliteLedgerDeathTest = SqliteLedgerTest;

TEST_F(SqliteLedgerDeathTest, batches_that_do_not_pair_are_misuses) {
  SqliteLedger ledger;
  EXPECT_DEATH(ledger.commit_batch(), "SqliteLedger::commit_batch: no batch is open");
  EXPECT_DEATH(ledger.abandon_batch(), "SqliteLedger::abandon_batch: no batch is open");
  ledger.begin_batch();
  EXPECT_DEATH(ledger.begin_batch(), "SqliteLedger::begin_batch: a batch is open");
}

// One thread waits in it for another connection, and this one comes as well.
TEST_F(SqliteLedgerDeathTest, two_threads_in_it_at_once_are_a_misuse) {
  const auto use_in_two_threads = [this] {
    SqliteLedger ledger(file());
    Probe other(file());
    other.run("BEGIN IMMEDIATE");
    const std::thread waiting([&ledger] { ledger.begin_batch(); });
    for (;;) {
      static_cast<void>(ledger.contents());
    }
  };
  EXPECT_DEATH(use_in_two_threads(), "platform: SqliteLedger::[a-z_]+: called while another thread uses the object");
}

}  // namespace
}  // namespace hub::test
