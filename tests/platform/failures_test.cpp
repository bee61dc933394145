// SPDX-License-Identifier: Apache-2.0
// Every platform function that can fail can be told to: which calls fail, with what, and that nothing else changes.
#include "failures/failures_host.h"

#include <sys/sysctl.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "IOKit/IOCFPlugIn.h"
#include "StatLedger/StatLedger.h"
#include "hid/hid_host.h"
#include "ledger/ledger_host.h"
#include "log/log_host.h"
#include "mach/mach_error.h"
#include "notify.h"
#include "os/log.h"
#include "os/state.h"
#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

using platform::calls_of;
using platform::FailurePlan;
using platform::Fallible;
using platform::fallible_functions;
using platform::plan_failures;
using platform::planned_failures_of;

// Takes everything.
struct Ledger final : platform::Ledger {
  bool clear_scalar(std::string_view) override { return true; }
  bool set_scalar(std::string_view, std::int64_t) override { return true; }
  bool add_to_scalar(std::string_view, std::int64_t) override { return true; }
  bool clear_distribution(std::string_view) override { return true; }
  bool set_distribution(std::string_view, double) override { return true; }
  bool push_to_distribution(std::string_view, double) override { return true; }
};

struct Client final : platform::UserClient {
  platform::MethodResult call(const platform::MethodCall&) override { return {.status = kIOReturnSuccess}; }
};

IOCFPlugInInterface plugin_table{};
IOCFPlugInInterface* plugin_object = &plugin_table;

struct Backend final : platform::ServiceBackend {
  kern_return_t create_plugin(const CFUUIDBytes&, IOCFPlugInInterface*** plugin) override {
    *plugin = &plugin_object;
    return kIOReturnSuccess;
  }
  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    client = std::make_unique<Client>();
    return kIOReturnSuccess;
  }
  bool is_hid_device() override { return true; }
};

struct ServiceModel final : platform::HidServiceModel {
  CFTypeRef property(CFStringRef) override { return CFSTR("value"); }
  bool conforms_to(std::uint32_t, std::uint32_t) override { return true; }
  CFTypeRef registry_id() override { return CFSTR("an id"); }
};

// Releases what was created; 1 when there is something.
std::int64_t created(CFTypeRef object) {
  if (object != nullptr) {
    CFRelease(object);
  }
  return object != nullptr ? 1 : 0;
}

std::int64_t got(const void* pointer) { return pointer != nullptr ? 1 : 0; }

// A root with one child and something behind it; every function can be called with success.
class Failures : public RegistryTest {
 protected:
  Failures() {
    platform::set_service_backend(root_id, std::make_shared<Backend>());
    platform::use_ledger(&ledger);
  }
  ~Failures() override {
    platform::end_failures();
    platform::use_ledger(nullptr);
  }

  // The result of one call of each function: a code as it is, else 1 for a success and 0 for NULL, false or 0. What a
  // call needs beforehand is made while no plan is in force, so that it is one call.
  using Call = std::function<std::int64_t()>;
  struct Prepared {
    Call call;
    Call clean_up = [] { return 0; };
  };
  std::map<Fallible, std::function<Prepared()>> calls();

  std::int64_t result_of(Fallible function, const FailurePlan& plan) {
    platform::end_failures();
    const Prepared prepared = calls().at(function)();
    plan_failures(plan);
    const std::int64_t result = prepared.call();
    platform::end_failures();
    prepared.clean_up();
    return result;
  }

  Ledger ledger;
  const RegistryEntryId root_id = add(kNoParent, "Root", 1);
  const RegistryEntryId child_id = add(root_id, "Child", 2);
  HeldService root = first("Root");
  HeldService child = first("Child");
  Owned<IOHIDServiceRef> service = Owned(platform::create_hid_service(std::make_unique<ServiceModel>()));
  Owned<CFNumberRef> one = number(1);
};

std::map<Fallible, std::function<Failures::Prepared()>> Failures::calls() {
  const auto plain = [](Call call) { return [call = std::move(call)] { return Prepared{call}; }; };
  const auto on_service = [this](auto function) {
    return [this, function]() -> std::int64_t { return got(function(service, CFSTR("key"))); };
  };
  const auto release_found = [](auto function) {
    return [function]() -> std::int64_t {
      io_object_t found = IO_OBJECT_NULL;
      const kern_return_t status = function(&found);
      if (found != IO_OBJECT_NULL) {
        IOObjectRelease(found);
      }
      return status;
    };
  };
  const auto on_connection = [this](auto function) {
    return [this, function] {
      io_connect_t connection = IO_OBJECT_NULL;
      IOServiceOpen(root, mach_task_self(), 0, &connection);
      return Prepared{[function, connection]() -> std::int64_t { return function(connection); },
                      [connection] { return IOServiceClose(connection); }};
    };
  };
  static const UInt8 kBytes[] = {'b'};
  const CFAllocatorContext context{};
  const CFUUIDBytes bytes{};
  return {
      {Fallible::kCFAllocatorAllocate, plain([] {
         void* block = CFAllocatorAllocate(kCFAllocatorDefault, 8, 0);
         const std::int64_t result = got(block);
         std::free(block);
         return result;
       })},
      {Fallible::kCFAllocatorCreate, plain([=] { return created(CFAllocatorCreate(kCFAllocatorDefault, &context)); })},
      {Fallible::kCFAllocatorReallocate,
       [] {
         void* block = std::malloc(8);
         auto* owned = new void*(block);
         return Prepared{[owned] {
                           void* resized = CFAllocatorReallocate(kCFAllocatorDefault, *owned, 16, 0);
                           *owned = resized != nullptr ? resized : *owned;
                           return got(resized);
                         },
                         [owned] {
                           std::free(*owned);
                           delete owned;
                           return 0;
                         }};
       }},
      {Fallible::kCFArrayCreate,
       plain([] { return created(CFArrayCreate(kCFAllocatorDefault, nullptr, 0, nullptr)); })},
      {Fallible::kCFArrayCreateMutable,
       plain([] { return created(CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr)); })},
      {Fallible::kCFDataCreate, plain([] { return created(CFDataCreate(kCFAllocatorDefault, kBytes, 1)); })},
      {Fallible::kCFDictionaryCreate,
       plain([] { return created(CFDictionaryCreate(kCFAllocatorDefault, nullptr, nullptr, 0, nullptr, nullptr)); })},
      {Fallible::kCFDictionaryCreateMutable,
       plain([] { return created(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, nullptr, nullptr)); })},
      {Fallible::kCFNumberCreate, plain([] {
         const std::int64_t value = 1;
         return created(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
       })},
      {Fallible::kCFNumberGetValue, plain([this]() -> std::int64_t {
         std::int64_t value = 0;
         return CFNumberGetValue(one, kCFNumberSInt64Type, &value);
       })},
      {Fallible::kCFPropertyListCreateData, plain([] {
         return created(CFPropertyListCreateData(kCFAllocatorDefault, CFSTR("text"), kCFPropertyListBinaryFormat_v1_0,
                                                 0, nullptr));
       })},
      {Fallible::kCFStringCreateWithBytes, plain([] {
         return created(CFStringCreateWithBytes(kCFAllocatorDefault, kBytes, 1, kCFStringEncodingUTF8, false));
       })},
      {Fallible::kCFStringCreateWithCString,
       plain([] { return created(CFStringCreateWithCString(kCFAllocatorDefault, "text", kCFStringEncodingUTF8)); })},
      {Fallible::kCFStringGetCString, plain([]() -> std::int64_t {
         char buffer[8];
         return CFStringGetCString(CFSTR("text"), buffer, sizeof buffer, kCFStringEncodingUTF8);
       })},
      {Fallible::kCFStringGetCStringPtr,
       plain([] { return got(CFStringGetCStringPtr(CFSTR("text"), kCFStringEncodingUTF8)); })},
      {Fallible::kCFUUIDCreateFromUUIDBytes,
       plain([=] { return created(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, bytes)); })},
      {Fallible::kCFUUIDCreateString,
       plain([] { return created(CFUUIDCreateString(kCFAllocatorDefault, IUnknownUUID)); })},
      {Fallible::kdispatch_queue_create, plain([] {
         dispatch_queue_t queue = dispatch_queue_create("queue", nullptr);
         if (queue != nullptr) {
           dispatch_release(queue);
         }
         return got(queue);
       })},
      {Fallible::kIOConnectCallMethod, on_connection([](io_connect_t connection) {
         return IOConnectCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
       })},
      {Fallible::kIOCreatePlugInInterfaceForService, plain([this]() -> std::int64_t {
         IOCFPlugInInterface** plugin = nullptr;
         SInt32 score = 0;
         return IOCreatePlugInInterfaceForService(root, IUnknownUUID, kIOCFPlugInInterfaceID, &plugin, &score);
       })},
      {Fallible::kIOHIDDeviceCreate, plain([this] { return created(IOHIDDeviceCreate(kCFAllocatorDefault, root)); })},
      {Fallible::kIOHIDServiceCopyProperty,
       plain([this] { return created(IOHIDServiceCopyProperty(service, CFSTR("key"))); })},
      {Fallible::kIOHIDServiceGetProperty, plain(on_service(IOHIDServiceGetProperty))},
      {Fallible::kIOHIDServiceGetRegistryID, plain([this] { return got(IOHIDServiceGetRegistryID(service)); })},
      {Fallible::kIOObjectRelease,
       [] {
         auto* held = new io_service_t(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("Root")));
         return Prepared{[held]() -> std::int64_t { return IOObjectRelease(*held); },
                         [held] {
                           delete held;
                           return 0;
                         }};
       }},
      {Fallible::kIOObjectRetain,
       [this] {
         auto* taken = new bool(false);
         return Prepared{[this, taken]() -> std::int64_t {
                           const kern_return_t status = IOObjectRetain(root);
                           *taken = status == kIOReturnSuccess;
                           return status;
                         },
                         [this, taken]() -> std::int64_t {
                           if (*taken) {
                             IOObjectRelease(root);
                           }
                           delete taken;
                           return 0;
                         }};
       }},
      {Fallible::kIORegistryEntryCreateCFProperty,
       plain([this] { return created(IORegistryEntryCreateCFProperty(root, CFSTR("mark"), kCFAllocatorDefault, 0)); })},
      {Fallible::kIORegistryEntryGetChildEntry, plain(release_found([this](io_object_t* found) {
         *found = 4711;
         return IORegistryEntryGetChildEntry(root, kIOServicePlane, found);
       }))},
      {Fallible::kIORegistryEntryGetName, plain([this]() -> std::int64_t {
         io_name_t name;
         return IORegistryEntryGetName(root, name);
       })},
      {Fallible::kIORegistryEntryGetParentEntry, plain(release_found([this](io_object_t* found) {
         *found = 4711;
         return IORegistryEntryGetParentEntry(child, kIOServicePlane, found);
       }))},
      {Fallible::kIORegistryEntryIDMatching, plain([] { return created(IORegistryEntryIDMatching(1)); })},
      {Fallible::kIOServiceClose,
       [this] {
         auto* connection = new io_connect_t(IO_OBJECT_NULL);
         IOServiceOpen(root, mach_task_self(), 0, connection);
         return Prepared{[connection]() -> std::int64_t { return IOServiceClose(*connection); },
                         [connection] {
                           delete connection;
                           return 0;
                         }};
       }},
      {Fallible::kIOServiceGetMatchingService,
       [] {
         CFDictionaryRef matching = IOServiceMatching("Root");
         return Prepared{[matching]() -> std::int64_t {
           const HeldService found(IOServiceGetMatchingService(kIOMasterPortDefault, matching));
           return found != IO_OBJECT_NULL ? 1 : 0;
         }};
       }},
      {Fallible::kIOServiceMatching, plain([] { return created(IOServiceMatching("Root")); })},
      {Fallible::kIOServiceNameMatching, plain([] { return created(IOServiceNameMatching("root")); })},
      {Fallible::kIOServiceOpen, plain([this]() -> std::int64_t {
         io_connect_t connection = 4711;
         const kern_return_t status = IOServiceOpen(root, mach_task_self(), 0, &connection);
         if (connection != IO_OBJECT_NULL) {
           IOServiceClose(connection);
         }
         return status;
       })},
      {Fallible::kSLClientAddValueForScalarKey,
       plain([]() -> std::int64_t { return SLClientAddValueForScalarKey(CFSTR("key"), 1); })},
      {Fallible::kSLClientClearDistributionKey,
       plain([]() -> std::int64_t { return SLClientClearDistributionKey(CFSTR("key")); })},
      {Fallible::kSLClientClearScalarKey, plain([]() -> std::int64_t { return SLClientClearScalarKey(CFSTR("key")); })},
      {Fallible::kSLClientPushValueForDistributionKey,
       plain([]() -> std::int64_t { return SLClientPushValueForDistributionKey(CFSTR("key"), 1); })},
      {Fallible::kSLClientSetValueForDistributionKey,
       plain([]() -> std::int64_t { return SLClientSetValueForDistributionKey(CFSTR("key"), 1); })},
      {Fallible::kSLClientSetValueForScalarKey,
       plain([]() -> std::int64_t { return SLClientSetValueForScalarKey(CFSTR("key"), 1); })},
      {Fallible::kmach_error_string, plain([] { return got(mach_error_string(kIOReturnError)); })},
      {Fallible::knotify_cancel,
       [] {
         int token = 0;
         notify_register_dispatch("name", &token, nullptr, [](int) {});
         return Prepared{[token]() -> std::int64_t { return notify_cancel(token); },
                         [token]() -> std::int64_t { return notify_cancel(token); }};
       }},
      {Fallible::knotify_post, plain([]() -> std::int64_t { return notify_post("name"); })},
      {Fallible::knotify_register_dispatch,
       [] {
         auto* token = new int(0);
         return Prepared{
             [token]() -> std::int64_t { return notify_register_dispatch("name", token, nullptr, [](int) {}); },
             [token]() -> std::int64_t {
               if (*token != 0) {
                 notify_cancel(*token);
               }
               delete token;
               return 0;
             }};
       }},
      {Fallible::kos_log_create, plain([] { return got(os_log_create("subsystem", "category")); })},
      {Fallible::kos_state_add_handler,
       [] {
         return Prepared{[]() -> std::int64_t {
                           return os_state_add_handler(nullptr, [](os_state_hints_t) { return nullptr; }) != 0 ? 1 : 0;
                         },
                         [] {
                           platform::clear_state_handlers();
                           return 0;
                         }};
       }},
      {Fallible::ksysctl, plain([]() -> std::int64_t {
         int name[] = {CTL_KERN, KERN_BOOTTIME};
         timeval value{};
         std::size_t length = sizeof value;
         return sysctl(name, 2, &value, &length, nullptr, 0) == 0 ? 0 : errno;
       })},
  };
}

TEST_F(Failures, are_possible_for_exactly_the_listed_functions) {
  EXPECT_EQ(calls().size(), fallible_functions().size());
  for (const auto& row : fallible_functions()) {
    EXPECT_TRUE(calls().contains(row.function)) << row.name;
  }
}

TEST_F(Failures, that_are_not_planned_do_not_happen) {
  for (const auto& row : fallible_functions()) {
    EXPECT_EQ(result_of(row.function, {}), row.has_code ? 0 : 1) << row.name;
    EXPECT_EQ(calls_of(row.function), 1U) << row.name;
    EXPECT_EQ(planned_failures_of(row.function), 0U) << row.name;
  }
}

TEST_F(Failures, of_one_function_give_its_own_result) {
  for (const auto& row : fallible_functions()) {
    EXPECT_EQ(result_of(row.function, {.first = 1, .function = row.function}), row.has_code ? row.code : 0) << row.name;
    EXPECT_EQ(planned_failures_of(row.function), 1U) << row.name;
    EXPECT_TRUE(!row.has_code || row.code != 0) << row.name;
  }
}

TEST_F(Failures, give_the_planned_code_where_there_is_one) {
  for (const auto& row : fallible_functions()) {
    if (row.has_code) {
      EXPECT_EQ(result_of(row.function, {.first = 1, .function = row.function, .code = 5}), 5) << row.name;
    }
  }
}

TEST_F(Failures, of_one_function_leave_the_others_alone) {
  for (const auto& row : fallible_functions()) {
    const Fallible other = row.function != Fallible::ksysctl ? Fallible::ksysctl : Fallible::knotify_post;
    EXPECT_EQ(result_of(row.function, {.first = 1, .and_all_later = true, .function = other}), row.has_code ? 0 : 1)
        << row.name;
  }
}

TEST_F(Failures, do_not_reach_constants) {
  plan_failures({.first = 1, .and_all_later = true});
  EXPECT_NE(CFSTR("made while every call fails"), nullptr);
  EXPECT_NE(CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17), nullptr);
}

TEST_F(Failures, begin_at_the_planned_call_and_end_with_it) {
  plan_failures({.first = 2, .function = Fallible::kmach_error_string});
  EXPECT_NE(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(mach_error_string(kIOReturnError), nullptr);
  EXPECT_NE(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(calls_of(Fallible::kmach_error_string), 3U);
  EXPECT_EQ(planned_failures_of(Fallible::kmach_error_string), 1U);
}

TEST_F(Failures, can_go_on_from_the_planned_call) {
  plan_failures({.first = 2, .and_all_later = true, .function = Fallible::kmach_error_string});
  EXPECT_NE(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(mach_error_string(kIOReturnError), nullptr);
}

TEST_F(Failures, without_a_function_count_the_calls_of_all) {
  plan_failures({.first = 3});
  EXPECT_NE(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(notify_post("name"), NOTIFY_STATUS_OK);
  EXPECT_EQ(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(notify_post("name"), NOTIFY_STATUS_OK);
}

TEST_F(Failures, end_and_begin_anew_with_a_plan) {
  plan_failures({.first = 1, .and_all_later = true});
  EXPECT_EQ(mach_error_string(kIOReturnError), nullptr);
  platform::end_failures();
  EXPECT_NE(mach_error_string(kIOReturnError), nullptr);
  EXPECT_EQ(calls_of(Fallible::kmach_error_string), 1U) << "the counts stay";
  plan_failures({});
  EXPECT_EQ(calls_of(Fallible::kmach_error_string), 0U);
}

TEST_F(Failures, to_lend_a_text_leave_the_search_for_a_service_alone) {
  add(kNoParent, "Sensor", 1);
  plan_failures({.first = 1, .and_all_later = true, .function = Fallible::kCFStringGetCStringPtr});
  EXPECT_EQ(mark_of_first("Sensor"), 1);
}

TEST_F(Failures, to_lend_a_text_make_the_ledger_refuse) {
  plan_failures({.first = 1, .function = Fallible::kCFStringGetCStringPtr});
  EXPECT_FALSE(SLClientAddValueForScalarKey(CFSTR("key"), 1));
  EXPECT_TRUE(SLClientAddValueForScalarKey(CFSTR("key"), 1));
}

TEST_F(Failures, to_lend_a_text_make_the_log_say_what_it_is_instead) {
  std::string told;
  platform::set_log_recorder([&](const platform::LogMessage& message) { told = message.text; });
  plan_failures({.first = 1, .function = Fallible::kCFStringGetCStringPtr});
  os_log(os_log_create("subsystem", "category"), "%@", CFSTR("text"));
  platform::set_log_recorder(nullptr);
  EXPECT_EQ(told, "<string>");
}

}  // namespace
}  // namespace hub::test
