// SPDX-License-Identifier: Apache-2.0
// The plug-in object: its factory, its table, its references, opening and scheduling.
#include "VantuHUBHIDStatistics.h"

#include <cstdlib>
#include <string>

#include "failures/failures_host.h"
#include "notify.h"
#include "tests/plugin/plugin_fixture.h"

namespace hub::test {
namespace {

using platform::live_objects;
using platform::live_plugin_instances;

constexpr char kFault[] = "com.vantu.vantuhubhidstatistics.fault";

CFUUIDRef factory_id() {
  return CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1,
                                        0xB9, 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46);
}

// An allocator of the test's own, which tells how many blocks are out.
class CountingAllocator {
 public:
  CountingAllocator() {
    CFAllocatorContext context{};
    context.info = this;
    context.allocate = [](CFIndex length_bytes, CFOptionFlags, void* info) {
      auto& self = *static_cast<CountingAllocator*>(info);
      self.blocks += 1;
      self.last_length_bytes = length_bytes;
      return std::malloc(static_cast<std::size_t>(length_bytes));
    };
    context.deallocate = [](void* block, void* info) {
      static_cast<CountingAllocator*>(info)->blocks -= 1;
      std::free(block);
    };
    allocator_ = CFAllocatorCreate(kCFAllocatorDefault, &context);
  }
  operator CFAllocatorRef() const { return allocator_; }

  int blocks = 0;
  CFIndex last_length_bytes = 0;

 private:
  CFAllocatorRef allocator_;  // never released: the contexts' array of an instance stays with it
};

class PlugInObject : public PlugInTest {
 protected:
  // The status of QueryInterface and what it stored.
  struct Query {
    HRESULT status;
    void* interface;
  };
  Query query(CFUUIDRef id) {
    void* interface = this;
    const HRESULT status = instance.table().QueryInterface(instance.self(), CFUUIDGetUUIDBytes(id), &interface);
    return {status, interface};
  }

  // The count, by way of one reference more and one less.
  ULONG references() {
    instance.add_reference();
    return instance.release();
  }

  Instance instance;
};

TEST_F(PlugInObject, is_not_made_for_another_type) {
  EXPECT_EQ(VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, IUnknownUUID), nullptr);
  EXPECT_EQ(VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, kIOHIDSessionFilterPlugInInterfaceID), nullptr);
  EXPECT_EQ(VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, nullptr), nullptr);
  EXPECT_EQ(live_plugin_instances(factory_id()), 1);
}

TEST_F(PlugInObject, is_not_made_without_memory) {
  EXPECT_EQ(VantuHUBHIDStatisticsFactory(kCFAllocatorNull, kIOHIDSessionFilterPlugInTypeID), nullptr);
  EXPECT_EQ(live_plugin_instances(factory_id()), 1);
}

TEST_F(PlugInObject, is_an_instance_of_its_factory_as_long_as_it_lives) {
  {
    const Instance another;
    EXPECT_EQ(live_plugin_instances(factory_id()), 2);
  }
  EXPECT_EQ(live_plugin_instances(factory_id()), 1);
}

TEST_F(PlugInObject, made_without_the_factory_is_the_same) {
  VantuHUBHIDStatistics* object = VantuHUBHIDStatistics::alloc(kCFAllocatorDefault);
  EXPECT_EQ(live_plugin_instances(factory_id()), 2);
  EXPECT_EQ(object->Release(), 0U);
  EXPECT_EQ(live_plugin_instances(factory_id()), 1);
}

TEST_F(PlugInObject, takes_its_memory_from_its_allocator_and_gives_it_back) {
  static CountingAllocator allocator;
  const int before = allocator.blocks;
  {
    Instance another(allocator);
    const int with_object = allocator.blocks;
    EXPECT_EQ(another.release(), 0U);
    EXPECT_EQ(allocator.blocks, with_object - 1) << "the object's own memory, and nothing else";
  }
  EXPECT_GT(allocator.blocks, before) << "the contexts' array stays";
}

TEST_F(PlugInObject, has_a_table_of_17_entries_of_which_9_are_filled) {
  const auto* entries = reinterpret_cast<void* const*>(&instance.table());
  static_assert(sizeof(IOHIDSessionFilterPlugInInterface) == 17 * sizeof(void*));
  std::string filled;
  for (int entry = 0; entry < 17; ++entry) {
    filled += entries[entry] != nullptr ? std::to_string(entry) + " " : "";
  }
  EXPECT_EQ(filled, "1 2 3 7 8 11 13 14 ");
}

TEST_F(PlugInObject, shares_its_table_with_all_others) {
  const Instance another;
  EXPECT_EQ(&instance.table(), &another.table());
}

TEST_F(PlugInObject, answers_to_three_interfaces_with_a_reference_each) {
  ULONG expected = 1;
  for (const CFUUIDRef id :
       {kIOHIDSessionFilterPlugInInterfaceID, kIOHIDSessionFilterPlugInInterfaceID2, IUnknownUUID}) {
    const Query asked = query(id);
    EXPECT_EQ(asked.status, 0);
    EXPECT_EQ(asked.interface, instance.self());
    EXPECT_EQ(references(), ++expected);
  }
  instance.release();
  instance.release();
  instance.release();
}

TEST_F(PlugInObject, refuses_an_unknown_interface_and_stores_null) {
  const Query asked = query(factory_id());
  EXPECT_EQ(static_cast<std::uint32_t>(asked.status), 0x80000004U);
  EXPECT_EQ(asked.interface, nullptr);
  EXPECT_EQ(references(), 1U);
}

TEST_F(PlugInObject, refuses_every_interface_without_memory_for_its_identifier) {
  platform::plan_failures({.first = 1, .function = platform::Fallible::kCFUUIDCreateFromUUIDBytes});
  const Query asked = query(IUnknownUUID);
  platform::end_failures();
  EXPECT_EQ(static_cast<std::uint32_t>(asked.status), 0x80000004U);
  EXPECT_EQ(asked.interface, nullptr);
  EXPECT_EQ(references(), 1U);
}

TEST_F(PlugInObject, leaves_no_identifier_behind_when_it_is_queried) {
  query(IUnknownUUID);
  query(factory_id());
  instance.release();
  EXPECT_EQ(live_objects(CFUUIDGetTypeID()), 0);
}

TEST_F(PlugInObject, counts_references_up_and_down) {
  EXPECT_EQ(instance.add_reference(), 2U);
  EXPECT_EQ(instance.add_reference(), 3U);
  EXPECT_EQ(instance.release(), 2U);
  EXPECT_EQ(instance.release(), 1U);
}

TEST_F(PlugInObject, ends_with_its_last_reference) {
  Instance another;
  EXPECT_EQ(another.release(), 0U);
  EXPECT_EQ(live_plugin_instances(factory_id()), 1);
}

TEST_F(PlugInObject, has_no_keys_before_it_is_opened) {
  EXPECT_EQ(instance.object().keyForIndex(StatLedgerKey{0}), nullptr);
}

TEST_F(PlugInObject, opens_and_makes_one_string_a_key) {
  const std::int64_t before = live_objects(CFStringGetTypeID());
  EXPECT_TRUE(instance.open());
  EXPECT_EQ(live_objects(CFStringGetTypeID()), before + 67);
}

TEST_F(PlugInObject, opened_twice_makes_its_keys_anew_and_keeps_the_earlier_ones) {
  const std::int64_t before = live_objects(CFStringGetTypeID());
  instance.open();
  const CFStringRef earlier = instance.object().keyForIndex(StatLedgerKey{0});
  instance.open();
  EXPECT_EQ(live_objects(CFStringGetTypeID()), before + 2 * 67);
  EXPECT_NE(instance.object().keyForIndex(StatLedgerKey{0}), earlier);
  EXPECT_TRUE(CFEqual(instance.object().keyForIndex(StatLedgerKey{0}), earlier));
}

TEST_F(PlugInObject, closes_without_doing_anything) {
  instance.open();
  instance.table().close(instance.self(), nullptr, 0);
  EXPECT_NE(instance.object().keyForIndex(StatLedgerKey{0}), nullptr);
}

TEST_F(PlugInObject, logs_a_fault_for_each_post_of_the_notification) {
  instance.open();
  instance.schedule(queue);
  notify_post(kFault);
  notify_post("com.vantu.another");
  notify_post(kFault);
  finish_queue();
  EXPECT_EQ(log, (Story{"fault: fault!", "fault: fault!"}));
}

TEST_F(PlugInObject, scheduled_twice_hears_each_post_twice_even_when_unscheduled) {
  instance.open();
  instance.schedule(queue);
  instance.schedule(queue);
  instance.table().unscheduleFromDispatchQueue(instance.self(), queue);
  notify_post(kFault);
  finish_queue();
  EXPECT_EQ(log, (Story{"fault: fault!", "fault: fault!"}));
}

TEST_F(PlugInObject, hears_the_notification_on_its_queue) {
  bool on_queue = false;
  platform::set_log_recorder([&](const platform::LogMessage&) { on_queue = platform::is_on_queue(queue); });
  instance.open();
  instance.schedule(queue);
  notify_post(kFault);
  finish_queue();
  EXPECT_TRUE(on_queue);
}

TEST_F(PlugInObject, logs_no_fault_when_none_is_recorded) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kOff);
  instance.open();
  instance.schedule(queue);
  notify_post(kFault);
  finish_queue();
  EXPECT_EQ(log, Story{});
}

TEST_F(PlugInObject, destroyed_releases_the_log_through_which_others_log_on) {
  instance.open();
  instance.schedule(queue);
  {
    const Instance another;
    another.open();
  }
  notify_post(kFault);
  finish_queue();
  EXPECT_EQ(log, (Story{"fault: fault!"}));
  const Instance later;
  later.open();
  later.schedule(queue);
  notify_post(kFault);
  finish_queue();
  EXPECT_EQ(log.size(), 3U);
}

// In a process of its own, in which nothing has been opened yet.
TEST_F(PlugInObject, destroyed_before_any_was_opened_does_no_harm) {
  const auto make_and_destroy = [] {
    { const Instance never_opened; }
    std::exit(0);
  };
  EXPECT_EXIT(make_and_destroy(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace hub::test
