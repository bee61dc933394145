// SPDX-License-Identifier: Apache-2.0
// The platform's interfaces without memory.
#include <sys/sysctl.h>

#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <thread>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/IOKitLib.h"
#include "StatLedger/StatLedger.h"
#include "corefoundation/corefoundation_host.h"
#include "corefoundation/owned.h"
#include "dispatch/dispatch.h"
#include "failures/failures_host.h"
#include "hid/hid_host.h"
#include "host/session/ledger_report.h"
#include "ledger/ledger_host.h"
#include "ledger/sqlite_ledger.h"
#include "log/log_host.h"
#include "notify.h"
#include "notify/notify_host.h"
#include "os/log.h"
#include "propertylist/property_list_reader.h"
#include "registry/service_backend.h"
#include "state/state_host.h"
#include "tests/reliability/allocations/failing_allocations_run.h"

namespace hub::test {
namespace {

using platform::Owned;

// What a function that gives NULL without memory has given.
template <typename Ref>
Owned<Ref> expect(Ref object) {
  if (object == nullptr) {
    throw Refused();
  }
  return Owned<Ref>(object);
}

Owned<CFNumberRef> number(std::int64_t value) {
  return expect(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

Owned<CFStringRef> text(const char* characters) {
  return expect(CFStringCreateWithCString(kCFAllocatorDefault, characters, kCFStringEncodingUTF8));
}

Owned<CFMutableDictionaryRef> dictionary() {
  return expect(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                          &kCFTypeDictionaryValueCallBacks));
}

void set(CFMutableDictionaryRef pairs, const char* key, CFTypeRef value) {
  const auto name = text(key);
  CFDictionarySetValue(pairs, name.get(), value);
  if (!CFDictionaryContainsKey(pairs, name.get())) {
    throw Refused();
  }
}

// Every type that there is, in each other.
Owned<CFMutableDictionaryRef> objects_of_all_types() {
  auto all = dictionary();
  const auto one = number(1);
  const auto word = text("a text that is longer than what a string holds in itself");
  const auto bytes = expect(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>("bytes"), 5));
  std::array<const void*, 2> values = {one.get(), word.get()};
  const auto array = expect(CFArrayCreate(kCFAllocatorDefault, values.data(), 2, &kCFTypeArrayCallBacks));
  const auto grown = expect(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  for (CFIndex index = 0; index < 10; ++index) {
    CFArrayAppendValue(grown.get(), one.get());
    if (CFArrayGetCount(grown.get()) != index + 1) {
      throw Refused();
    }
  }
  set(all.get(), "number", one.get());
  set(all.get(), "text", word.get());
  set(all.get(), "data", bytes.get());
  set(all.get(), "array", array.get());
  set(all.get(), "grown", grown.get());
  set(all.get(), "true", kCFBooleanTrue);
  for (const char* key : {"a", "b", "c", "d", "e", "f", "g", "h", "i"}) {
    set(all.get(), key, one.get());
  }
  return all;
}

std::string count_of(CFDictionaryRef pairs) { return std::to_string(CFDictionaryGetCount(pairs)); }

std::string create_objects() {
  const auto all = objects_of_all_types();
  const CFUUIDBytes bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  const auto identifier = expect(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, bytes));
  const auto name = expect(CFUUIDCreateString(kCFAllocatorDefault, identifier.get()));
  const CFAllocatorContext context{};
  const auto allocator = expect(CFAllocatorCreate(kCFAllocatorDefault, &context));
  return count_of(all.get()) + CFStringGetCStringPtr(name.get(), kCFStringEncodingUTF8);
}

// The last reference goes on a thread that has had no object before.
std::string release_elsewhere() {
  auto all = objects_of_all_types();
  std::string result = count_of(all.get());
  std::thread([released = std::move(all)] {}).join();
  return result;
}

std::string write_property_list() {
  const auto all = objects_of_all_types();
  const auto data =
      expect(CFPropertyListCreateData(kCFAllocatorDefault, all.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  const auto values = platform::read_property_list({reinterpret_cast<const std::byte*>(CFDataGetBytePtr(data.get())),
                                                    static_cast<std::size_t>(CFDataGetLength(data.get()))});
  return std::to_string(std::get<platform::PropertyListDictionary>(values.value).size()) + " of " +
         std::to_string(CFDataGetLength(data.get()));
}

// Owns one reference to a handle.
class Held {
 public:
  explicit Held(io_service_t handle) : handle_(handle) {
    if (handle_ == IO_OBJECT_NULL) {
      throw Refused();
    }
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { IOObjectRelease(handle_); }
  [[nodiscard]] io_service_t get() const { return handle_; }
  [[nodiscard]] std::string name() const {
    io_name_t name = "";
    IORegistryEntryGetName(handle_, name);
    return name;
  }

 private:
  io_service_t handle_;
};

Held first(CFDictionaryRef matching) { return Held(IOServiceGetMatchingService(kIOMasterPortDefault, matching)); }

Held relative(kern_return_t (*walk)(io_registry_entry_t, const char*, io_registry_entry_t*), const Held& from) {
  io_registry_entry_t found = IO_OBJECT_NULL;
  walk(from.get(), kIOServicePlane, &found);
  return Held(found);
}

// Gives back what a scenario puts into the platform's tables.
struct Cleared {
  Cleared() = default;
  Cleared(const Cleared&) = delete;
  Cleared& operator=(const Cleared&) = delete;
  ~Cleared() {
    platform::clear_registry();
    platform::clear_notifications();
    platform::clear_state_handlers();
    platform::set_log_recorder(nullptr);
    platform::use_ledger(nullptr);
  }
};

std::string look_into_registry() {
  const Cleared cleared;
  const auto properties = objects_of_all_types();
  const auto root = platform::add_registry_entry(platform::kNoParent, "root", "Root", nullptr, 77);
  const auto parent = platform::add_registry_entry(root, "parent", "Parent", properties.get());
  platform::add_registry_entry(parent, "child", "Child", nullptr, 4711);
  const Held child = first(IORegistryEntryIDMatching(4711));
  const Held by_name = first(IOServiceNameMatching("root"));
  const Held by_class = first(IOServiceMatching("Parent"));
  const Held above = relative(IORegistryEntryGetParentEntry, child);
  const Held below = relative(IORegistryEntryGetChildEntry, by_name);
  const auto key = text("number");
  const auto property = expect(IORegistryEntryCreateCFProperty(by_class.get(), key.get(), kCFAllocatorDefault, 0));
  std::string names;
  for (const Held* held : {&child, &by_name, &by_class, &above, &below}) {
    names += held->name() + "\n";
  }
  return names + std::to_string(CFGetTypeID(property.get()));
}

// An entry that could not be added is not half there.
std::string add_entries_until_it_fails() {
  const Cleared cleared;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
    try {
      platform::add_registry_entry(platform::kNoParent, name, name, nullptr);
    } catch (const std::bad_alloc&) {
      const platform::RegistryEntryId after = platform::add_registry_entry(platform::kNoParent, name, "after", nullptr);
      const Held found = first(IOServiceNameMatching(name));
      std::uint64_t wanted = after;
      const Held by_id = first(IORegistryEntryIDMatching(wanted));
      return found.get() == by_id.get() ? "whole" : "half";
    }
  }
  const Held last = first(IOServiceNameMatching("h"));
  const auto added = platform::add_registry_entry(platform::kNoParent, "i", "i", nullptr);
  return last.name() + first(IORegistryEntryIDMatching(added)).name() == "hi" ? "whole" : "half";
}

// Each entry has a handle of its own, whatever failed when one was to be given.
std::string hand_out_handles() {
  const Cleared cleared;
  std::string names;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
    platform::add_registry_entry(platform::kNoParent, name, name, nullptr);
  }
  bool refused = false;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h", "a", "b", "c", "d", "e", "f", "g", "h"}) {
    try {
      names += first(IOServiceNameMatching(name)).name();
    } catch (const Refused&) {
      refused = true;
      continue;
    }
    if (names.back() != *name) {
      return "the handle of another: " + names;
    }
  }
  if (refused) {
    throw Refused();
  }
  return names;
}

class Client final : public platform::UserClient {
 public:
  platform::MethodResult call(const platform::MethodCall&) override {
    const std::string made(100, 'x');  // whatever a host does, it may have no memory for it
    return {.status = made.size() == 100 ? kIOReturnSuccess : kIOReturnError};
  }
};

class Service final : public platform::ServiceBackend {
 public:
  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    client = std::make_unique<Client>();
    return kIOReturnSuccess;
  }
};

std::string call_user_client() {
  const Cleared cleared;
  const auto entry = platform::add_registry_entry(platform::kNoParent, "client", "Client", nullptr);
  platform::set_service_backend(entry, std::make_shared<Service>());
  const Held service = first(IOServiceMatching("Client"));
  io_connect_t connection = IO_OBJECT_NULL;
  if (IOServiceOpen(service.get(), kIOMasterPortDefault, 0, &connection) != kIOReturnSuccess) {
    throw Refused();
  }
  const kern_return_t status =
      IOConnectCallMethod(connection, 1, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
  IOServiceClose(connection);
  if (status == kIOReturnNoMemory) {
    throw Refused();
  }
  return std::to_string(status);
}

struct ReleaseQueue {
  void operator()(dispatch_queue_s* queue) const { dispatch_release(queue); }
};
using OwnedQueue = std::unique_ptr<dispatch_queue_s, ReleaseQueue>;

OwnedQueue make_queue() {
  OwnedQueue queue(dispatch_queue_create("a queue of this name", nullptr));
  if (queue == nullptr) {
    throw Refused();
  }
  return queue;
}

std::string run_blocks() {
  int done = 0;
  {
    const OwnedQueue queue = make_queue();
    for (int block = 0; block < 10; ++block) {
      dispatch_async(queue.get(), [&done, large = std::array<int, 16>{}] { done += 1 + large[0]; });
    }
    dispatch_sync(queue.get(), [&done] { done *= 10; });
  }
  return std::to_string(done);
}

std::string post_notifications() {
  const Cleared cleared;
  std::string heard;
  {
    const OwnedQueue queue = make_queue();
    int token = 0;
    int other = 0;
    const auto handler = [&heard, large = std::array<int, 16>{}](int) { heard += large[0] == 0 ? "heard " : ""; };
    heard.reserve(100);
    if (notify_register_dispatch("name", &token, queue.get(), handler) != NOTIFY_STATUS_OK ||
        notify_register_dispatch("name", &other, queue.get(), handler) != NOTIFY_STATUS_OK ||
        notify_post("name") != NOTIFY_STATUS_OK || notify_cancel(token) != NOTIFY_STATUS_OK) {
      platform::clear_notifications();
      throw Refused();
    }
    platform::clear_notifications();
  }
  return heard;
}

std::string log_messages() {
  const Cleared cleared;
  std::array<char, 2000> recorded{};
  std::size_t length = 0;
  platform::set_log_recorder([&recorded, &length](const platform::LogMessage& message) {
    length += message.text.copy(recorded.data() + length, recorded.size() - length);
  });
  const os_log_t log = os_log_create("a subsystem with a long name", "a category with a long name");
  if (log == nullptr) {
    throw Refused();
  }
  const auto word = text("an object's text that is not short at all");
  for (int message = 0; message < 4; ++message) {
    os_log_error(log, "message %d of %s with %@ and %40.3f\n", message, "a text that is not short either", word.get(),
                 1.5);
  }
  os_release(log);
  return {recorded.data(), length};
}

std::string capture_states() {
  const Cleared cleared;
  std::string taken;
  {
    const OwnedQueue queue = make_queue();
    for (std::uint32_t number = 0; number < 5; ++number) {
      const auto handler = [number, large = std::array<int, 16>{}](os_state_hints_t) {
        void* memory = std::malloc(sizeof(os_state_data_s));
        if (memory == nullptr) {
          return os_state_data_t{nullptr};
        }
        auto* data = ::new (memory) os_state_data_s{};
        data->type = number + static_cast<std::uint32_t>(large[0]);
        return data;
      };
      if (os_state_add_handler(queue.get(), handler) == 0) {
        platform::clear_state_handlers();
        throw Refused();
      }
    }
    const auto clear = std::unique_ptr<void, void (*)(void*)>(&taken, [](void*) { platform::clear_state_handlers(); });
    platform::capture_state(OS_STATE_API_REQUEST, [&taken](std::size_t, const platform::OwnedStateData& data) {
      taken += std::to_string(data->type) + "\n";
    });
  }
  return taken;
}

// A batch of every operation, committed.
std::string file_batch(platform::SqliteLedger& ledger) {
  ledger.begin_batch();
  bool filed = true;
  for (const std::string key : {"first key of the batch, which is long", "second key of the batch, which is long"}) {
    filed = ledger.set_scalar(key, 5) && ledger.add_to_scalar(key, 6) && ledger.push_to_distribution(key, 1.5) &&
            ledger.push_to_distribution(key, 2.5) && filed;
  }
  filed = ledger.clear_scalar("second key of the batch, which is long") &&
          ledger.set_distribution("third key, which is long as well", 0.5) && filed;
  ledger.commit_batch();
  return (filed ? "" : "not all was filed, and yet it was committed: ") + host::ledger_text(ledger.contents());
}

std::string file_in_memory() {
  platform::SqliteLedger ledger;
  return file_batch(ledger);
}

// What stood in the file before a batch stands there whatever becomes of the batch.
std::string file_in_file() {
  platform::SqliteLedger ledger(scratch("ledger.db"));
  return file_batch(ledger);
}

std::string file_through_service() {
  const Cleared cleared;
  platform::SqliteLedger ledger;
  platform::use_ledger(&ledger);
  const auto key = text("a key of the service that is long");
  if (!SLClientSetValueForScalarKey(key.get(), 1) || !SLClientAddValueForScalarKey(key.get(), 2) ||
      !SLClientPushValueForDistributionKey(key.get(), 1.5)) {
    throw Refused();
  }
  return host::ledger_text(ledger.contents());
}

class Model final : public platform::HidServiceModel {
 public:
  CFTypeRef property(CFStringRef) override { return kCFBooleanTrue; }
  bool conforms_to(std::uint32_t, std::uint32_t) override { return true; }
  CFTypeRef registry_id() override { return nullptr; }
};

std::string make_hid_service() {
  const auto service = expect(platform::create_hid_service(std::make_unique<Model>()));
  const auto key = text("key");
  const auto property = expect(IOHIDServiceCopyProperty(service.get(), key.get()));
  return std::to_string(CFGetTypeID(property.get()));
}

std::string ask_for_boot_time() {
  std::array<int, 2> name = {CTL_KERN, KERN_BOOTTIME};
  timeval boot_time{};
  std::size_t length_bytes = sizeof boot_time;
  if (sysctl(name.data(), 2, &boot_time, &length_bytes, nullptr, 0) != 0) {
    throw Refused();
  }
  return std::to_string(boot_time.tv_sec);
}

constexpr Scenario kScenarios[] = {
    {"objects", create_objects},
    {"objects_released_elsewhere", release_elsewhere},
    {"property_list", write_property_list},
    {"registry", look_into_registry},
    {"registry_entries", add_entries_until_it_fails},
    {"registry_handles", hand_out_handles},
    {"user_client", call_user_client},
    {"queue", run_blocks},
    {"notifications", post_notifications},
    {"log", log_messages, true},
    {"state_capture", capture_states, true},
    {"ledger_in_memory", file_in_memory},
    {"ledger_in_file", file_in_file},
    {"statistics_service", file_through_service},
    {"hid_service", make_hid_service},
    {"boot_time", ask_for_boot_time},
};

}  // namespace

const std::span<const Scenario> kPlatformScenarios = kScenarios;

}  // namespace hub::test
