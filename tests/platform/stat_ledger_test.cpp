// SPDX-License-Identifier: Apache-2.0
// The statistics service: what reaches the ledger in use, and what becomes of calls when there is none.
#include "StatLedger/StatLedger.h"

#include <atomic>
#include <limits>
#include <sstream>
#include <string>

#include "ledger/ledger_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

// Writes down what it is told, and answers as it is told to.
class RecordingLedger final : public platform::Ledger {
 public:
  bool clear_scalar(std::string_view key) override { return note("clear scalar ", key); }
  bool set_scalar(std::string_view key, std::int64_t value) override { return note("set scalar ", key, value); }
  bool add_to_scalar(std::string_view key, std::int64_t value) override { return note("add to scalar ", key, value); }
  bool clear_distribution(std::string_view key) override { return note("clear distribution ", key); }
  bool set_distribution(std::string_view key, double sample) override { return note("set distribution ", key, sample); }
  bool push_to_distribution(std::string_view key, double sample) override { return note("push to ", key, sample); }

  std::vector<std::string> calls;
  bool answer = true;

 private:
  template <typename... Values>
  bool note(std::string_view what, std::string_view key, Values... values) {
    std::ostringstream line;
    line << what << key;
    ((line << " " << values), ...);
    calls.push_back(line.str());
    return answer;
  }
};

class CountingLedger final : public platform::Ledger {
 public:
  bool clear_scalar(std::string_view) override { return false; }
  bool set_scalar(std::string_view, std::int64_t) override { return false; }
  bool add_to_scalar(std::string_view, std::int64_t value) override {
    sum += value;
    return true;
  }
  bool clear_distribution(std::string_view) override { return false; }
  bool set_distribution(std::string_view, double) override { return false; }
  bool push_to_distribution(std::string_view, double) override { return false; }

  std::atomic<std::int64_t> sum = 0;
};

class StatLedger : public PlatformTest {
 protected:
  ~StatLedger() override { platform::use_ledger(nullptr); }

  // The results of all six calls.
  static std::vector<bool> call_all(CFStringRef key) {
    return {SLClientClearScalarKey(key),
            SLClientSetValueForScalarKey(key, kLowest),
            SLClientAddValueForScalarKey(key, -2),
            SLClientClearDistributionKey(key),
            SLClientSetValueForDistributionKey(key, 0.5),
            SLClientPushValueForDistributionKey(key, -1.25)};
  }

  RecordingLedger ledger_;
};

TEST_F(StatLedger, without_a_ledger_every_call_gives_false) {
  EXPECT_EQ(call_all(CFSTR("key")), std::vector<bool>(6, false));
}

TEST_F(StatLedger, each_call_reaches_the_ledger_once_with_key_and_value) {
  platform::use_ledger(&ledger_);
  EXPECT_EQ(call_all(CFSTR("key")), std::vector<bool>(6, true));
  EXPECT_EQ(ledger_.calls,
            (std::vector<std::string>{"clear scalar key", "set scalar key -9223372036854775808", "add to scalar key -2",
                                      "clear distribution key", "set distribution key 0.5", "push to key -1.25"}));
}

TEST_F(StatLedger, call_gives_false_when_the_ledger_does) {
  platform::use_ledger(&ledger_);
  ledger_.answer = false;
  EXPECT_EQ(call_all(CFSTR("key")), std::vector<bool>(6, false));
  EXPECT_EQ(ledger_.calls.size(), 6U);
}

TEST_F(StatLedger, key_arrives_in_utf8) {
  platform::use_ledger(&ledger_);
  SLClientClearScalarKey(CFSTR("d\u00fcse \U0001D11E"));
  SLClientClearScalarKey(CFSTR(""));
  EXPECT_EQ(ledger_.calls, (std::vector<std::string>{"clear scalar d\u00fcse \U0001D11E", "clear scalar "}));
}

TEST_F(StatLedger, key_is_not_kept) {
  platform::use_ledger(&ledger_);
  const auto key = string("key");
  call_all(key);
  EXPECT_EQ(CFGetRetainCount(key), 1);
}

TEST_F(StatLedger, ledger_that_was_named_last_gets_the_calls) {
  RecordingLedger later;
  platform::use_ledger(&ledger_);
  platform::use_ledger(&later);
  EXPECT_TRUE(SLClientClearScalarKey(CFSTR("key")));
  platform::use_ledger(nullptr);
  EXPECT_FALSE(SLClientClearScalarKey(CFSTR("key")));
  EXPECT_EQ(ledger_.calls.size(), 0U);
  EXPECT_EQ(later.calls.size(), 1U);
}

TEST_F(StatLedger, calls_of_many_threads_all_arrive) {
  CountingLedger ledger;
  platform::use_ledger(&ledger);
  in_threads(4, [](std::size_t) {
    for (int turn = 0; turn < 1000; ++turn) {
      EXPECT_TRUE(SLClientAddValueForScalarKey(CFSTR("key"), 3));
    }
  });
  EXPECT_EQ(ledger.sum, 12'000);
}

// A program's keys may be missing, when there was no memory for them.
TEST_F(StatLedger, null_key_files_nothing) {
  platform::use_ledger(&ledger_);
  EXPECT_FALSE(SLClientClearScalarKey(nullptr));
  EXPECT_FALSE(SLClientSetValueForScalarKey(nullptr, 1));
  EXPECT_FALSE(SLClientAddValueForScalarKey(nullptr, 1));
  EXPECT_FALSE(SLClientClearDistributionKey(nullptr));
  EXPECT_FALSE(SLClientSetValueForDistributionKey(nullptr, 1));
  EXPECT_FALSE(SLClientPushValueForDistributionKey(nullptr, 1));
  EXPECT_EQ(ledger_.calls.size(), 0U);
}

using StatLedgerDeathTest = StatLedger;

TEST_F(StatLedgerDeathTest, key_that_is_no_string_ends_the_process) {
  platform::use_ledger(&ledger_);
  const auto no_string = reinterpret_cast<CFStringRef>(kCFBooleanTrue);
  EXPECT_DEATH(SLClientClearScalarKey(no_string), "platform: CFStringGetCStringPtr: ");
}

}  // namespace
}  // namespace hub::test
