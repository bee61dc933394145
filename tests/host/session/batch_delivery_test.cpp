// SPDX-License-Identifier: Apache-2.0
#include "host/session/batch_delivery.h"

#include <algorithm>
#include <latch>
#include <list>
#include <optional>

#include "StatLedger/StatLedger.h"
#include "tests/host/device/interface_fixture.h"
#include "tests/platform/ledger_fixture.h"

namespace hub::test {
namespace {

using host::Batch;
using host::BatchDelivery;
using host::DeviceModel;
using host::ModelledService;

constexpr std::size_t kRecordBytes = 7;

// A device whose callback counts records in the ledger and overwrites what it was given; when it gets the records
// "no-room", it files more than there is room for.
class Delivery : public LedgerTest {
 protected:
  void SetUp() override {
    LedgerTest::SetUp();
    ledger.emplace(file(), kShortPatience);
    platform::use_ledger(&*ledger);
    delivery.emplace(*ledger);
    device = query<IOHIDHubDeviceInterface>(plugin_of(*service.device), kIOHIDHubDeviceInterfaceID).interface;
    (*device)->setStatisticsCallback(device, publish, this);
    (*device)->setDispatchQueue(device, queue);
  }
  void TearDown() override {
    service.device->forget_callback();
    platform::use_ledger(nullptr);
    ledger.reset();
    LedgerTest::TearDown();
  }

  static void publish(void* refcon, void* records, std::uint64_t count) {
    auto& test = *static_cast<Delivery*>(refcon);
    const std::string text(static_cast<const char*>(records), count * kRecordBytes);
    test.story += text + " ";
    std::fill_n(static_cast<char*>(records), text.size(), 'x');
    SLClientAddValueForScalarKey(CFSTR("records"), static_cast<std::int64_t>(count));
    if (text == "no-room") {
      const NoRoom no_room(64 * 1024);
      const std::string long_key(10'000, 'k');
      for (int number = 0; number < 1000; ++number) {
        test.ledger->set_scalar(long_key + std::to_string(number), number);
      }
    }
  }

  bool post(const std::string& records) {
    return delivery->post(batches.emplace_back(Batch{"button", bytes_of(records)}), service);
  }

  void finish() const {
    dispatch_sync(queue, [] {});
  }

  Queue queue;
  host::Observations observations;
  ModelledService service{"button", {}, std::make_shared<DeviceModel>(host::DevicePlan{}, observations)};
  IOHIDHubDeviceInterface** device = nullptr;
  std::optional<SqliteLedger> ledger;
  std::optional<BatchDelivery> delivery;
  std::list<Batch> batches;
  std::string story;
};

TEST_F(Delivery, batches_reach_the_callback_and_the_ledger_in_order_and_are_counted) {
  EXPECT_TRUE(post("Count-1"));
  EXPECT_TRUE(post("Count-2Count-3"));
  finish();
  EXPECT_EQ(story, "Count-1 Count-2Count-3 ");
  EXPECT_EQ(scalars(), Rows{"records|3"});
  EXPECT_EQ(delivery->batches(), 2U);
  EXPECT_EQ(delivery->published(), 3U);
  EXPECT_EQ(delivery->failure(), std::nullopt);
}

TEST_F(Delivery, records_of_another_version_are_counted_apart) {
  EXPECT_TRUE(post("Count-1older-2Count-3"));
  finish();
  EXPECT_EQ(delivery->published(), 2U);
  EXPECT_EQ(delivery->skipped(), 1U);
}

TEST_F(Delivery, empty_batch_reaches_the_callback) {
  EXPECT_TRUE(post(""));
  finish();
  EXPECT_EQ(story, " ");
  EXPECT_EQ(delivery->batches(), 1U);
}

TEST_F(Delivery, callback_may_overwrite_its_records_and_the_batch_stays) {
  EXPECT_TRUE(post("Count-1"));
  EXPECT_TRUE(delivery->post(batches.front(), service));
  finish();
  EXPECT_EQ(story, "Count-1 Count-1 ");
  EXPECT_EQ(batches.front().records, bytes_of("Count-1"));
}

TEST_F(Delivery, batch_without_a_callback_is_not_delivered) {
  (*device)->setStatisticsCallback(device, nullptr, nullptr);
  EXPECT_FALSE(post("Count-1"));
  finish();
  EXPECT_EQ(delivery->batches(), 0U);
  EXPECT_EQ(scalars(), Rows{});
}

TEST_F(Delivery, batch_of_a_service_without_a_device_is_not_delivered) {
  service.device->forget_callback();
  service.device = std::make_shared<DeviceModel>(host::DevicePlan{}, observations);
  EXPECT_FALSE(post("Count-1"));
  const ModelledService lone{"lone", {}, nullptr};
  EXPECT_FALSE(delivery->post(batches.front(), lone));
}

TEST_F(Delivery, is_finished_when_all_batches_have_arrived_on_their_queue) {
  std::latch finished(1);
  dispatch_async(queue, [&finished] { finished.wait(); });
  EXPECT_TRUE(post("Count-1"));
  EXPECT_TRUE(post("Count-2"));
  EXPECT_EQ(delivery->batches(), 0U);
  finished.count_down();
  delivery->finish();
  EXPECT_EQ(story, "Count-1 Count-2 ");
  EXPECT_EQ(delivery->batches(), 2U);
}

TEST_F(Delivery, is_finished_when_nothing_was_posted_or_taken) {
  delivery->finish();
  (*device)->setStatisticsCallback(device, nullptr, nullptr);
  EXPECT_FALSE(post("Count-1"));
  delivery->finish();
}

TEST_F(Delivery, batches_of_devices_on_several_queues_are_filed_one_at_a_time) {
  const Queue other_queue;
  const ModelledService other{"other", {}, std::make_shared<DeviceModel>(host::DevicePlan{}, observations)};
  auto** interface = query<IOHIDHubDeviceInterface>(plugin_of(*other.device), kIOHIDHubDeviceInterfaceID).interface;
  (*interface)->setStatisticsCallback(interface, publish, this);
  (*interface)->setDispatchQueue(interface, other_queue);
  for (int pair = 0; pair < 20; ++pair) {
    EXPECT_TRUE(post("Count-1"));
    EXPECT_TRUE(delivery->post(batches.back(), other));
  }
  delivery->finish();
  EXPECT_EQ(delivery->failure(), std::nullopt);
  EXPECT_EQ(delivery->batches(), 40U);
  EXPECT_EQ(scalars(), Rows{"records|40"});
}

TEST_F(Delivery, batch_that_cannot_begin_stops_it_and_those_behind_it) {
  {
    const OtherProcess other([this](const auto& hold_still) {
      Probe probe(file());
      probe.run("BEGIN IMMEDIATE");
      hold_still();
    });
    EXPECT_TRUE(post("Count-1"));
    finish();
  }
  EXPECT_TRUE(post("Count-2"));
  finish();
  EXPECT_EQ(story, "");
  EXPECT_EQ(delivery->failure(),
            file() + ": is locked by another connection, try again when that has ended: database is locked");
  EXPECT_EQ(delivery->batches(), 0U);
  EXPECT_EQ(scalars(), Rows{});
}

TEST_F(Delivery, batch_with_a_failed_operation_leaves_those_before_it_and_stops_those_behind_it) {
  EXPECT_TRUE(post("Count-1"));
  EXPECT_TRUE(post("no-room"));
  EXPECT_TRUE(post("Count-3"));
  finish();
  EXPECT_EQ(story, "Count-1 no-room ");
  EXPECT_EQ(delivery->failure(), file() + ": cannot be read or written: disk I/O error");
  EXPECT_EQ(delivery->batches(), 1U);
  EXPECT_EQ(delivery->published(), 1U);
  EXPECT_EQ(scalars(), Rows{"records|1"});
}

}  // namespace
}  // namespace hub::test
