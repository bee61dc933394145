// SPDX-License-Identifier: Apache-2.0
// Batches of operation records, delivered through the callback that the plug-in installs.
#include "publishing.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/plugin/plugin_fixture.h"

namespace hub::test {
namespace {

struct Record {
  unsigned op;
  unsigned key;
  std::uint32_t value;
  unsigned version = 0x43;
};

constexpr unsigned kTest = 66;

class Publishing : public RunningPlugInTest {
 protected:
  Publishing() {
    ServiceScript script;
    script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(kCFBooleanTrue));
    service = &add(std::move(script));
    instance.register_service(*service);
    log.clear();
  }

  void publish(std::initializer_list<Record> records) {
    std::vector<std::uint8_t> bytes;
    for (const Record& record : records) {
      for (const unsigned byte : {record.version, record.op, record.key, record.value & 0xFF, record.value >> 8U & 0xFF,
                                  record.value >> 16U & 0xFF, record.value >> 24U}) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
      }
    }
    service->device->callback(service->device->refcon, bytes.data(), records.size());
  }

  RecordedService* service;
};

TEST_F(Publishing, of_no_records_makes_no_call_and_logs_nothing) {
  publish({});
  EXPECT_EQ(ledger.story, Story{});
  EXPECT_EQ(log, Story{});
}

TEST_F(Publishing, makes_the_call_of_each_operation) {
  publish({{1, kTest, 9}, {2, kTest, 9}, {3, kTest, 9}, {4, kTest, 9}, {5, kTest, 0x90000}, {6, kTest, 0x90000}});
  EXPECT_EQ(ledger.story, (Story{
                              "clear-scalar com.vantu.neb.test",
                              "set-scalar com.vantu.neb.test 9",
                              "add com.vantu.neb.test 9",
                              "clear-distribution com.vantu.neb.test",
                              "set-distribution com.vantu.neb.test 9.000000",
                              "push com.vantu.neb.test 9.000000",
                          }));
}

TEST_F(Publishing, operation_0_is_logged_and_makes_no_call) {
  publish({{0, kTest, 1}});
  EXPECT_EQ(ledger.story, Story{});
  EXPECT_EQ(log, (Story{"error: publishSLData op=0 'com.vantu.neb.test' (0x42)"}));
}

TEST_F(Publishing, record_of_another_version_is_logged_and_skipped_and_the_next_ones_go_on) {
  publish({{3, kTest, 1, 0x42}, {3, kTest, 2}, {3, kTest, 3, 0}, {3, kTest, 4}});
  EXPECT_EQ(ledger.story, (Story{"add com.vantu.neb.test 2", "add com.vantu.neb.test 4"}));
  EXPECT_EQ(log, (Story{
                     "error: publishSLData hubsldkeys version mismatch (0x42/0x43)",
                     "error: publishSLData op=0x3 'com.vantu.neb.test' (0x42)",
                     "error: publishSLData hubsldkeys version mismatch (0/0x43)",
                     "error: publishSLData op=0x3 'com.vantu.neb.test' (0x42)",
                 }));
}

TEST_F(Publishing, key_beyond_the_table_is_published_as_unknown) {
  publish({{2, 67, 1}, {2, 255, 2}});
  EXPECT_EQ(ledger.story, (Story{"set-scalar com.vantu.neb.unknown 1", "set-scalar com.vantu.neb.unknown 2"}));
  EXPECT_EQ(log, (Story{
                     "error: publishSLData op=0x2 'com.vantu.neb.unknown' (0x43)",
                     "error: publishSLData op=0x2 'com.vantu.neb.unknown' (0xff)",
                 }));
}

TEST_F(Publishing, first_key_of_the_table_is_published_under_its_name) {
  publish({{2, 0, 1}});
  EXPECT_EQ(ledger.story, (Story{"set-scalar com.vantu.neb.button.click.count 1"}));
  EXPECT_EQ(log, (Story{"error: publishSLData op=0x2 'com.vantu.neb.button.click.count' (0)"}));
}

TEST_F(Publishing, scalar_values_are_sign_extended) {
  publish({{2, kTest, 0xFFFFFFFF}, {3, kTest, 0x80000000}, {3, kTest, 0x7FFFFFFF}});
  EXPECT_EQ(ledger.story, (Story{
                              "set-scalar com.vantu.neb.test -1",
                              "add com.vantu.neb.test -2147483648",
                              "add com.vantu.neb.test 2147483647",
                          }));
}

TEST_F(Publishing, samples_are_signed_fixed_point) {
  publish({{5, kTest, 0x00018000}, {5, kTest, 0xFFFF0000}, {5, kTest, 0x80000000}, {5, kTest, 0x00008000}});
  EXPECT_EQ(ledger.story, (Story{
                              "set-distribution com.vantu.neb.test 1.500000",
                              "set-distribution com.vantu.neb.test -1.000000",
                              "set-distribution com.vantu.neb.test -32768.000000",
                              "set-distribution com.vantu.neb.test 0.500000",
                          }));
}

// 0x7FFFFFFF has 31 digits, of which single precision keeps 24.
TEST_F(Publishing, samples_are_rounded_to_single_precision) {
  publish({{5, kTest, 0x7FFFFFFF}});
  EXPECT_EQ(ledger.story, (Story{"set-distribution com.vantu.neb.test 32768.000000"}));
}

TEST_F(Publishing, operations_above_5_push_the_sample_as_often_as_they_are_above_it) {
  for (const unsigned op : {6U, 7U, 8U, 254U, 255U}) {
    ledger.story.clear();
    publish({{op, kTest, 0x20000}});
    EXPECT_EQ(ledger.story, Story(op - 5, "push com.vantu.neb.test 2.000000"));
  }
}

TEST_F(Publishing, each_record_is_logged_before_it_is_acted_on) {
  Story order;
  platform::set_log_recorder([&](const platform::LogMessage&) { order.push_back("logged"); });
  struct Ledger final : platform::Ledger {
    explicit Ledger(Story& its_order) : order(its_order) {}
    bool note() {
      order.emplace_back("filed");
      return false;  // whatever the service answers
    }
    bool clear_scalar(std::string_view) override { return note(); }
    bool set_scalar(std::string_view, std::int64_t) override { return note(); }
    bool add_to_scalar(std::string_view, std::int64_t) override { return note(); }
    bool clear_distribution(std::string_view) override { return note(); }
    bool set_distribution(std::string_view, double) override { return note(); }
    bool push_to_distribution(std::string_view, double) override { return note(); }
    Story& order;
  } refusing(order);
  platform::use_ledger(&refusing);
  publish({{3, kTest, 1}, {7, kTest, 1}});
  platform::use_ledger(nullptr);
  EXPECT_EQ(order, (Story{"logged", "filed", "logged", "filed", "filed"}));
}

TEST_F(Publishing, goes_on_without_logging_when_errors_are_not_recorded) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kFault);
  publish({{3, kTest, 1}, {3, kTest, 1, 0x44}});
  EXPECT_EQ(ledger.story, (Story{"add com.vantu.neb.test 1"}));
  EXPECT_EQ(log, Story{});
}

TEST_F(Publishing, reads_records_at_any_address) {
  std::array<std::uint8_t, 8> bytes = {0, 0x43, 2, kTest, 0x78, 0x56, 0x34, 0x12};
  service->device->callback(service->device->refcon, bytes.data() + 1, 1);
  EXPECT_EQ(ledger.story, (Story{"set-scalar com.vantu.neb.test 305419896"}));
}

TEST_F(Publishing, unknown_keys_need_no_opened_instance) {
  Instance closed;
  const LedgerOp record{{std::byte{0x43}, std::byte{2}, std::byte{67}}};
  closed.object().publishSLData(&record, 1);
  EXPECT_EQ(ledger.story, (Story{"set-scalar com.vantu.neb.unknown 0"}));
}

}  // namespace
}  // namespace hub::test
