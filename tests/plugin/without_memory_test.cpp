// SPDX-License-Identifier: Apache-2.0
// The plug-in when there is no memory: what it goes without, and that nothing worse happens.
#include <cstdlib>
#include <memory>
#include <optional>

#include "kept.h"
#include "tests/plugin/plugin_fixture.h"
#include "tests/support/failing_memory.h"

namespace hub::test {
namespace {

using platform::live_objects;
using platform::state_handlers;

constexpr Usage kConsumer = {0x0C, 0x01};

// A button of the hub that needs no memory to answer, and counts how often it is asked for its registry id.
class ButtonService final : public platform::HidServiceModel {
 public:
  explicit ButtonService(int& asked) : asked_(asked) {}

  CFTypeRef property(CFStringRef key) override { return CFEqual(key, CFSTR("Transport")) ? CFSTR("HUB") : nullptr; }
  bool conforms_to(std::uint32_t usage_page, std::uint32_t usage) override {
    return Usage(usage_page, usage) == kConsumer;
  }
  CFTypeRef registry_id() override {
    ++asked_;
    return nullptr;
  }

 private:
  int& asked_;
};

using WithoutMemory = PlugInTest;

// In a process of its own, in which the factory has had no instance yet.
TEST_F(WithoutMemory, object_that_cannot_be_counted_is_not_made_and_its_memory_is_given_back) {
  static int blocks = 0;
  CFAllocatorContext context{};
  context.allocate = [](CFIndex length_bytes, CFOptionFlags, void*) {
    ++blocks;
    return std::malloc(static_cast<std::size_t>(length_bytes));
  };
  context.deallocate = [](void* block, void*) {
    --blocks;
    std::free(block);
  };
  const auto make = [&context] {
    const CFAllocatorRef allocator = CFAllocatorCreate(kCFAllocatorDefault, &context);
    const int before = blocks;
    std::optional<NoMemoryByNew> no_memory(std::in_place);
    const void* object = VantuHUBHIDStatisticsFactory(allocator, kIOHIDSessionFilterPlugInTypeID);
    no_memory.reset();
    std::exit(object == nullptr && blocks == before ? 0 : 1);
  };
  EXPECT_EXIT(make(), testing::ExitedWithCode(0), "");
}

// In a process of its own, in which nothing has been kept yet.
TEST(Kept, without_memory_is_kept_unnoted) {
  const auto keep = [] {
    for (int times = 0; times < 2; ++times) {
      {
        const NoMemoryByNew no_memory;
        keepToTheEnd(&times);
      }
      keepToTheEnd(&times);
    }
    std::exit(0);
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(keep(), testing::ExitedWithCode(0), "");
}

TEST_F(WithoutMemory, service_is_dropped_before_it_is_asked_for_its_registry_id) {
  int asked = 0;
  const platform::Owned<IOHIDServiceRef> service(platform::create_hid_service(std::make_unique<ButtonService>(asked)));
  const Instance instance;
  instance.table().registerService(instance.self(), service.get());
  EXPECT_EQ(asked, 1);
  {
    const NoMemoryByNew no_memory;
    instance.table().registerService(instance.self(), service.get());
  }
  EXPECT_EQ(asked, 1);
}

TEST_F(WithoutMemory, service_is_kept_without_the_handlers_that_have_none) {
  const Instance instance;
  instance.open();
  instance.schedule(queue);
  std::optional<NoMemoryByNew> no_memory;
  ServiceScript script;
  script.usages = {kConsumer};
  script.at_hid_device = [&no_memory] { no_memory.emplace(); };
  const std::int64_t devices_before = live_objects(IOHIDDeviceGetTypeID());
  instance.register_service(add(std::move(script)));
  no_memory.reset();
  EXPECT_EQ(state_handlers(), 0U);
  EXPECT_EQ(live_objects(IOHIDDeviceGetTypeID()), devices_before + 1);
  ServiceScript another;
  another.usages = {kConsumer};
  instance.register_service(add(std::move(another)));
  EXPECT_EQ(state_handlers(), 2U) << "those of a button; the raw-debug handlers had their turn";
}

}  // namespace
}  // namespace hub::test
