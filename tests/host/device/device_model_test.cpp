// SPDX-License-Identifier: Apache-2.0
#include "host/device/device_model.h"

#include <thread>

#include "dispatch/dispatch_host.h"
#include "tests/host/device/interface_fixture.h"

namespace hub::test {
namespace {

using host::DeviceModel;
using host::DevicePlan;

// What a statistics callback was called with, and where.
struct Received {
  std::string story;
  std::thread::id thread;
  dispatch_queue_t expected_queue = nullptr;
  bool was_on_queue = false;
};

void receive(void* refcon, void* records, std::uint64_t count) {
  auto& received = *static_cast<Received*>(refcon);
  received.story += std::to_string(count) + ":" + std::string(static_cast<const char*>(records), count * 7) + " ";
  received.thread = std::this_thread::get_id();
  received.was_on_queue = received.expected_queue != nullptr && platform::is_on_queue(received.expected_queue);
}

void never(void*, void*, std::uint64_t) { ADD_FAILURE() << "a callback that was replaced is called"; }

class HubDevice : public PlatformTest {
 protected:
  IOHIDHubDeviceInterface** another_interface() {
    return query<IOHIDHubDeviceInterface>(plugin_of(model), kIOHIDHubDeviceInterfaceID).interface;
  }

  void install(IOHIDHubStatisticsCallback callback, void* refcon) {
    (*device)->setStatisticsCallback(device, callback, refcon);
  }
  void set_queue(dispatch_queue_t queue) { (*device)->setDispatchQueue(device, queue); }

  // Posts these bytes, whole records.
  bool post(const std::string& records) {
    return model.post([records](const DeviceModel::Publish& publish) {
      host::Bytes bytes = bytes_of(records);
      publish(bytes);
    });
  }

  static void finish(dispatch_queue_t queue) {
    dispatch_sync(queue, [] {});
  }

  host::Observations observations;
  DeviceModel model{DevicePlan{}, observations};
  IOHIDHubDeviceInterface** device = another_interface();
  Received received;
  Received other;
};

TEST_F(HubDevice, without_a_plugin_makes_none) {
  DeviceModel without(with(&DevicePlan::plugin, {.has_plugin = false}), observations);
  IOCFPlugInInterface** plugin = nullptr;
  EXPECT_EQ(without.create_plugin(&plugin), kIOReturnUnsupported);
}

TEST_F(HubDevice, opens_as_planned_and_counts_no_refusal) {
  DeviceModel refusing(with(&DevicePlan::open, {kIOReturnNotReady, kIOReturnSuccess}), observations);
  auto** its = query<IOHIDHubDeviceInterface>(plugin_of(refusing), kIOHIDHubDeviceInterfaceID).interface;
  EXPECT_EQ((*its)->open(its, 0), kIOReturnNotReady);
  EXPECT_EQ((*its)->open(its, 0), kIOReturnSuccess);
  EXPECT_EQ(observations.refusals(), 0U);
}

TEST_F(HubDevice, says_whether_it_has_a_hid_device) {
  EXPECT_TRUE(model.has_hid_device());
  EXPECT_FALSE(DeviceModel(with(&DevicePlan::has_hid_device, false), observations).has_hid_device());
}

TEST_F(HubDevice, without_a_callback_delivers_nothing) {
  const Queue queue;
  set_queue(queue);
  EXPECT_FALSE(model.has_callback());
  EXPECT_FALSE(model.post([](const DeviceModel::Publish&) { ADD_FAILURE() << "delivered"; }));
}

TEST_F(HubDevice, delivers_to_the_callback_with_its_context_and_a_count_of_records) {
  install(receive, &received);
  EXPECT_TRUE(model.has_callback());
  EXPECT_TRUE(post("record1record2"));
  EXPECT_EQ(received.story, "2:record1record2 ");
}

TEST_F(HubDevice, without_a_queue_delivers_on_the_posting_thread_at_once) {
  install(receive, &received);
  EXPECT_TRUE(post("record1"));
  EXPECT_EQ(received.thread, std::this_thread::get_id());
}

TEST_F(HubDevice, delivers_on_its_queue_in_order) {
  const Queue queue;
  received.expected_queue = queue;
  set_queue(queue);
  install(receive, &received);
  EXPECT_TRUE(post("record1"));
  EXPECT_TRUE(post("record2"));
  finish(queue);
  EXPECT_EQ(received.story, "1:record1 1:record2 ");
  EXPECT_TRUE(received.was_on_queue);
}

TEST_F(HubDevice, callback_that_was_installed_last_wins_from_whatever_interface) {
  install(never, &received);
  auto** another = another_interface();
  (*another)->setStatisticsCallback(another, receive, &other);
  EXPECT_TRUE(post("record1"));
  EXPECT_EQ(other.story, "1:record1 ");
}

TEST_F(HubDevice, same_callback_with_another_context_replaces_it) {
  install(receive, &received);
  install(receive, &other);
  EXPECT_TRUE(post("record1"));
  EXPECT_EQ(received.story, "");
  EXPECT_EQ(other.story, "1:record1 ");
}

TEST_F(HubDevice, callback_that_is_taken_away_leaves_none) {
  install(receive, &received);
  install(nullptr, nullptr);
  EXPECT_FALSE(post("record1"));
}

TEST_F(HubDevice, queue_that_was_given_last_wins_whenever_the_callback_came) {
  const Queue first;
  const Queue last;
  received.expected_queue = last;
  set_queue(first);
  install(receive, &received);
  set_queue(last);
  EXPECT_TRUE(post("record1"));
  finish(last);
  EXPECT_TRUE(received.was_on_queue);
}

TEST_F(HubDevice, queue_that_is_taken_away_delivers_on_the_posting_thread) {
  const Queue queue;
  set_queue(queue);
  install(receive, &received);
  set_queue(nullptr);
  EXPECT_TRUE(post("record1"));
  EXPECT_EQ(received.thread, std::this_thread::get_id());
}

TEST_F(HubDevice, batch_on_its_way_reaches_the_callback_for_which_it_was_posted) {
  const Queue queue;
  set_queue(queue);
  install(receive, &received);
  std::latch replaced(1);
  dispatch_async(queue, [&replaced] { replaced.wait(); });
  EXPECT_TRUE(post("record1"));
  install(never, nullptr);
  replaced.count_down();
  finish(queue);
  EXPECT_EQ(received.story, "1:record1 ");
}

TEST_F(HubDevice, keeps_its_queue_alive_until_it_forgets) {
  Queue queue;
  set_queue(queue);
  install(receive, &received);
  const std::int64_t live = platform::live_queues();
  queue.give_back();
  EXPECT_EQ(platform::live_queues(), live);
  model.forget_callback();
  EXPECT_EQ(platform::live_queues(), live - 1);
  EXPECT_FALSE(model.has_callback());
}

TEST_F(HubDevice, gives_each_queue_back_once_when_it_goes) {
  Queue first;
  Queue last;
  {
    DeviceModel passing(DevicePlan{}, observations);
    auto** its = query<IOHIDHubDeviceInterface>(plugin_of(passing), kIOHIDHubDeviceInterfaceID).interface;
    (*its)->setDispatchQueue(its, first);
    (*its)->setDispatchQueue(its, last);
    (*its)->setDispatchQueue(its, last);
  }
  finish(first);
  finish(last);
}

TEST_F(HubDevice, release_too_many_is_a_complaint) {
  (*device)->Release(device);
  (*device)->Release(device);
  EXPECT_EQ(observations.complaints(),
            std::vector<std::string>{"a device interface was released more often than it was retained"});
}

}  // namespace
}  // namespace hub::test
