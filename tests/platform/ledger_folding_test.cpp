// SPDX-License-Identifier: Apache-2.0
// Batches are folded in memory: what they leave in the tables, beside plain SQL that does one operation after the
// other.
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <system_error>

#include "tests/platform/ledger_fixture.h"

namespace hub::test {
namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

// The operations in plain SQL, each by itself.
class OneByOne {
 public:
  explicit OneByOne(const std::string& file) : probe_(file) { probe_.run("PRAGMA synchronous = OFF"); }

  void clear_scalar(const std::string& key) { probe_.run("DELETE FROM scalar WHERE key = '" + key + "'"); }
  void set_scalar(const std::string& key, std::int64_t value) {
    probe_.run("INSERT INTO scalar VALUES ('" + key + "', " + std::to_string(value) +
               ") ON CONFLICT (key) DO UPDATE SET value = excluded.value");
  }
  void add_to_scalar(const std::string& key, std::int64_t value) {
    const Rows found = probe_.rows("SELECT value FROM scalar WHERE key = '" + key + "'");
    const std::int64_t before = found.empty() ? 0 : std::stoll(found.front());
    set_scalar(key, static_cast<std::int64_t>(static_cast<std::uint64_t>(before) + static_cast<std::uint64_t>(value)));
  }
  void clear_distribution(const std::string& key) { probe_.run("DELETE FROM sample WHERE key = '" + key + "'"); }
  void set_distribution(const std::string& key, double sample) {
    clear_distribution(key);
    push_to_distribution(key, sample);
  }
  void push_to_distribution(const std::string& key, double sample) {
    probe_.run("INSERT INTO sample VALUES ((SELECT max(id) + 1 FROM sample), '" + key + "', " + std::to_string(sample) +
               ")");
  }

 private:
  Probe probe_;
};

struct Operation {
  std::mt19937::result_type kind;
  std::string key;
  std::int64_t value;
};

template <typename Target>
void apply(Target& target, const Operation& operation) {
  const double sample = std::ldexp(static_cast<double>(operation.value % 1000), -1);
  switch (operation.kind) {
    case 0:
      target.clear_scalar(operation.key);
      break;
    case 1:
      target.set_scalar(operation.key, operation.value);
      break;
    case 2:
      target.clear_distribution(operation.key);
      break;
    case 3:
      target.set_distribution(operation.key, sample);
      break;
    case 4:
    case 5:
      target.push_to_distribution(operation.key, sample);
      break;
    default:
      target.add_to_scalar(operation.key, operation.value);
  }
}

// So many samples of 32 distributions.
void push_in_turn(SqliteLedger& ledger, int count) {
  for (int number = 0; number < count; ++number) {
    ledger.push_to_distribution("distribution " + std::to_string(number % 32), number);
  }
}

// What SQLite keeps beside a database for itself alone; others do not see these names.
Rows temporary_files_of_sqlite() {
  Rows found;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code closed_since;
    const std::string target = fs::read_symlink(entry.path(), closed_since).string();
    if (target.find("etilqs_") != std::string::npos) {
      found.push_back(target);
    }
  }
  return found;
}

class LedgerFolding : public LedgerTest {
 protected:
  // A ledger that others have written to as well: numbers have gaps, and the newest samples are those of "b".
  void make_stored(const std::string& name) const {
    { const SqliteLedger made(path(name)); }
    Probe(path(name))
        .run(
            "INSERT INTO scalar VALUES ('c', 9223372036854775807), ('a', -1), ('stays', 5);"
            "INSERT INTO sample VALUES (-3, 'a', 1), (7, 'stays', 2), (20, 'b', 3), (31, 'b', 4)");
  }

  // All that is in the tables, in the order in which it stands there.
  [[nodiscard]] Rows tables(const std::string& name) const {
    Probe probe(path(name));
    Rows all = probe.rows("SELECT key, value, typeof(value) FROM scalar ORDER BY rowid");
    const Rows samples = probe.rows("SELECT id, key, value FROM sample ORDER BY id");
    all.insert(all.end(), samples.begin(), samples.end());
    return all;
  }

  std::vector<Operation> random_operations(std::size_t count, const std::string& key_prefix) {
    const std::array<std::int64_t, 6> values = {1, -7, kHighest, kLowest, 12345, 0};
    std::vector<Operation> operations;
    for (std::size_t index = 0; index < count; ++index) {
      operations.push_back(
          {random_() % 9, key_prefix + static_cast<char>('a' + random_() % 6), values[random_() % values.size()]});
    }
    return operations;
  }

  // The operations in batches of random lengths, and beside it one by one. Some batches are looked at on the way.
  void expect_same(const std::vector<Operation>& operations) {
    make_stored("folded");
    make_stored("single");
    SqliteLedger ledger(path("folded"));
    OneByOne single(path("single"));
    ledger.begin_batch();
    for (const Operation& operation : operations) {
      apply(ledger, operation);
      apply(single, operation);
      if (random_() % 16 == 0) {
        ledger.commit_batch();
        EXPECT_EQ(tables("folded"), tables("single"));
        ledger.begin_batch();
      } else if (random_() % 32 == 0) {
        EXPECT_EQ(ledger.contents().scalars.count("stays"), 1U);
      }
    }
    ledger.commit_batch();
    EXPECT_EQ(tables("folded"), tables("single"));
  }

  std::mt19937 random_{20260304};
};

TEST_F(LedgerFolding, batches_leave_what_their_operations_leave_one_by_one) {
  for (int turn = 0; turn < 10; ++turn) {
    expect_same(random_operations(100, ""));
    ASSERT_FALSE(HasFailure()) << "turn " << turn;
    fs::remove(path("folded"));
    fs::remove(path("single"));
  }
}

TEST_F(LedgerFolding, batches_that_are_too_large_for_memory_leave_what_their_operations_leave_one_by_one) {
  expect_same(random_operations(150, std::string(300'000, 'k')));
}

TEST_F(LedgerFolding, batch_of_many_rows_is_written_in_their_order) {
  for (const int count : {1, 2, 63, 64, 65, 127, 200}) {
    SqliteLedger ledger(file());
    Rows expected;
    ledger.begin_batch();
    for (int number = 0; number < count; ++number) {
      const std::string key = std::to_string(count * 1000 - number);
      ledger.add_to_scalar(key, number);
      ledger.push_to_distribution(key, number);
      expected.push_back(key + "|" + std::to_string(number));
    }
    ledger.commit_batch();
    EXPECT_EQ(Probe(file()).rows("SELECT key, value FROM scalar ORDER BY rowid"), expected);
    EXPECT_EQ(samples(), expected);
    change("DELETE FROM scalar; DELETE FROM sample");
  }
}

TEST_F(LedgerFolding, batch_of_many_samples_is_written_without_copies_of_the_pages_that_it_changes) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  push_in_turn(ledger, 10'000);
  ledger.commit_batch();
  ledger.begin_batch();
  push_in_turn(ledger, 10'000);
  EXPECT_EQ(ledger.contents().distributions.size(), 32U);
  EXPECT_EQ(temporary_files_of_sqlite(), Rows{});
  ledger.commit_batch();
}

TEST_F(LedgerFolding, row_that_is_made_by_setting_it_stands_where_it_was_first_named) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.set_scalar("c", 1);
  ledger.add_to_scalar("b", 2);
  ledger.set_scalar("a", 3);
  ledger.set_scalar("b", 4);
  ledger.commit_batch();
  EXPECT_EQ(Probe(file()).rows("SELECT key, value FROM scalar ORDER BY rowid"), (Rows{"c|1", "b|4", "a|3"}));
}

TEST_F(LedgerFolding, contents_have_what_the_open_batch_did_and_the_batch_goes_on) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.add_to_scalar("presses", 1);
  ledger.push_to_distribution("latency", 4);
  EXPECT_EQ(ledger.contents().scalars.at("presses"), 8);
  EXPECT_EQ(ledger.contents().distributions.at("latency").count, 3U);
  EXPECT_EQ(scalars(), Rows{"presses|7"}) << "for others the batch is still open";
  ledger.add_to_scalar("presses", 1);
  ledger.commit_batch();
  EXPECT_EQ(scalars(), Rows{"presses|9"});
  EXPECT_EQ(samples(), (Rows{"latency|1.5", "latency|0.25", "latency|4"}));
}

TEST_F(LedgerFolding, batch_whose_contents_cannot_be_written_has_failed) {
  make_ledger();
  SqliteLedger ledger(file());
  ledger.begin_batch();
  for (int number = 0; number < 40; ++number) {
    EXPECT_TRUE(ledger.set_scalar(std::string(100'000, 'k') + std::to_string(number), number));
  }
  {
    const NoRoom no_room(1);
    EXPECT_NE(error_of([&] { (void)ledger.contents(); }), "");
  }
  EXPECT_FALSE(ledger.add_to_scalar("presses", 1));
  EXPECT_EQ(ledger.contents().scalars, (std::map<std::string, std::int64_t>{{"presses", 7}}));
  EXPECT_NE(error_of([&] { ledger.commit_batch(); }), "");
  EXPECT_EQ(scalars(), Rows{"presses|7"});
}

TEST_F(LedgerFolding, abandoned_batch_leaves_nothing_to_the_next_one) {
  SqliteLedger ledger(file());
  ledger.begin_batch();
  ledger.set_scalar("a", 1);
  ledger.push_to_distribution("a", 1);
  ledger.abandon_batch();
  ledger.begin_batch();
  ledger.add_to_scalar("a", 2);
  ledger.commit_batch();
  EXPECT_EQ(scalars(), Rows{"a|2"});
  EXPECT_EQ(samples(), Rows{});
}

TEST_F(LedgerFolding, batch_numbers_its_samples_after_those_that_others_pushed_since) {
  SqliteLedger ledger(file());
  ledger.push_to_distribution("a", 1);
  change("INSERT INTO sample VALUES (10, 'b', 2)");
  ledger.begin_batch();
  ledger.push_to_distribution("a", 3);
  ledger.commit_batch();
  EXPECT_EQ(Probe(file()).rows("SELECT id, value FROM sample ORDER BY id"), (Rows{"1|1", "10|2", "11|3"}));
}

}  // namespace
}  // namespace hub::test
