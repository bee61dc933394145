// SPDX-License-Identifier: Apache-2.0
// What a service offers besides its data: plug-in objects, user clients, a HID device.
#include "registry/service_backend.h"

#include <algorithm>
#include <span>
#include <string>

#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDHubInterface.h"
#include "hid/hid_host.h"
#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

using platform::MethodCall;
using platform::MethodResult;
using platform::open_connections;

constexpr IOReturn kRefused = kIOReturnNotPrivileged;

// A plug-in object that is never asked anything: only its address counts.
IOCFPlugInInterface no_table{};
IOCFPlugInInterface* a_plugin = &no_table;

// Answers selector 7 with the inputs' sizes and the text "reply", anything else with a code.
struct RecordingClient : platform::UserClient {
  explicit RecordingClient(std::string& its_story) : story(its_story) {}
  RecordingClient(const RecordingClient&) = delete;
  RecordingClient& operator=(const RecordingClient&) = delete;
  ~RecordingClient() override { story += "closed "; }

  MethodResult call(const MethodCall& call) override {
    story += "call " + std::to_string(call.selector) + " scalars " + std::to_string(call.scalars.size()) + " input " +
             std::to_string(call.input.size()) + " room " + std::to_string(call.output.size()) + " ";
    if (call.selector != 7) {
      return {.status = kIOReturnTimeout};
    }
    if (!call.scalars_out.empty()) {
      call.scalars_out[0] = 99;
    }
    const std::size_t length = std::min<std::size_t>(call.output.size(), 5);
    std::copy_n(std::as_bytes(std::span("reply")).begin(), length, call.output.begin());
    return {
        .status = kIOReturnSuccess, .output_bytes = length, .scalars_out_count = call.scalars_out.empty() ? 0U : 1U};
  }

  std::string& story;
};

struct Backend : platform::ServiceBackend {
  explicit Backend(std::string& its_story) : story(its_story) {}

  kern_return_t create_plugin(const CFUUIDBytes& type, IOCFPlugInInterface*** plugin) override {
    if (type.byte0 != 0x3B) {
      return kRefused;
    }
    *plugin = &a_plugin;
    return kIOReturnSuccess;
  }

  kern_return_t open_user_client(std::uint32_t type, std::unique_ptr<platform::UserClient>& client) override {
    if (type != 0) {
      return kRefused;
    }
    client = std::make_unique<RecordingClient>(story);
    return kIOReturnSuccess;
  }

  bool is_hid_device() override { return true; }

  std::string& story;
};

class ServiceBackend : public RegistryTest {
 protected:
  ServiceBackend() {
    const RegistryEntryId id = add(kNoParent, "with", 1);
    platform::set_service_backend(id, std::make_shared<Backend>(story));
    add(kNoParent, "without", 2);
  }
  ~ServiceBackend() override { EXPECT_EQ(open_connections(), 0U); }

  struct Created {
    kern_return_t status;
    IOCFPlugInInterface** plugin;
  };

  static Created create_plugin(io_service_t service, CFUUIDRef type, CFUUIDRef interface_type) {
    auto* plugin = reinterpret_cast<IOCFPlugInInterface**>(1);
    SInt32 score = -1;
    const kern_return_t status = IOCreatePlugInInterfaceForService(service, type, interface_type, &plugin, &score);
    EXPECT_EQ(score, 0);
    return {status, plugin};
  }

  static kern_return_t open(io_service_t service, std::uint32_t type, io_connect_t& connection) {
    connection = 4711;
    return IOServiceOpen(service, mach_task_self(), type, &connection);
  }

  std::string story;
};

TEST_F(ServiceBackend, makes_the_plugin_object_of_a_type) {
  const auto service = first("with");
  const auto made = create_plugin(service, kIOHIDHubDriverPlugInTypeID, kIOCFPlugInInterfaceID);
  EXPECT_EQ(made.status, kIOReturnSuccess);
  EXPECT_EQ(made.plugin, &a_plugin);
}

TEST_F(ServiceBackend, says_with_its_own_code_that_it_has_no_plugin_of_a_type) {
  const auto made = create_plugin(first("with"), kIOHIDHubDevicePlugInTypeID, kIOCFPlugInInterfaceID);
  EXPECT_EQ(made.status, kRefused);
  EXPECT_EQ(made.plugin, nullptr);
}

TEST_F(ServiceBackend, is_not_asked_for_a_plugin_by_another_interface) {
  const auto made = create_plugin(first("with"), kIOHIDHubDriverPlugInTypeID, IUnknownUUID);
  EXPECT_EQ(made.status, kIOReturnBadArgument);
  EXPECT_EQ(made.plugin, nullptr);
}

TEST_F(ServiceBackend, missing_means_that_nothing_is_supported) {
  const auto service = first("without");
  io_connect_t connection = 0;
  EXPECT_EQ(create_plugin(service, kIOHIDHubDriverPlugInTypeID, kIOCFPlugInInterfaceID).status, kIOReturnUnsupported);
  EXPECT_EQ(open(service, 0, connection), kIOReturnUnsupported);
  EXPECT_EQ(connection, IO_OBJECT_NULL);
  EXPECT_EQ(IOHIDDeviceCreate(kCFAllocatorDefault, service), nullptr);
}

TEST_F(ServiceBackend, is_not_reached_through_a_handle_that_is_not_held) {
  io_connect_t connection = 0;
  EXPECT_EQ(create_plugin(4711, kIOHIDHubDriverPlugInTypeID, kIOCFPlugInInterfaceID).status, kIOReturnBadArgument);
  EXPECT_EQ(open(4711, 0, connection), kIOReturnBadArgument);
  EXPECT_EQ(IOHIDDeviceCreate(kCFAllocatorDefault, 4711), nullptr);
}

TEST_F(ServiceBackend, is_gone_when_the_registry_was_cleared) {
  const auto service = first("with");
  platform::clear_registry();
  io_connect_t connection = 0;
  EXPECT_EQ(open(service, 0, connection), kIOReturnUnsupported);
}

TEST_F(ServiceBackend, gets_the_call_of_a_method_and_answers_it) {
  io_connect_t connection = 0;
  ASSERT_EQ(open(first("with"), 0, connection), kIOReturnSuccess);
  const std::uint64_t scalars[] = {1, 2};
  std::uint64_t scalars_out[3] = {};
  std::uint32_t scalars_out_count = 3;
  char output[16] = {};
  std::size_t output_bytes = sizeof output;
  EXPECT_EQ(
      IOConnectCallMethod(connection, 7, scalars, 2, "abc", 3, scalars_out, &scalars_out_count, output, &output_bytes),
      kIOReturnSuccess);
  EXPECT_EQ(std::string(output, output_bytes), "reply");
  EXPECT_EQ(scalars_out_count, 1U);
  EXPECT_EQ(scalars_out[0], 99U);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
  EXPECT_EQ(story, "call 7 scalars 2 input 3 room 16 closed ");
}

TEST_F(ServiceBackend, fails_a_call_and_leaves_the_outputs_alone) {
  io_connect_t connection = 0;
  ASSERT_EQ(open(first("with"), 0, connection), kIOReturnSuccess);
  char output[4] = {'k', 'e', 'p', 't'};
  std::size_t output_bytes = sizeof output;
  EXPECT_EQ(IOConnectCallMethod(connection, 8, nullptr, 0, nullptr, 0, nullptr, nullptr, output, &output_bytes),
            kIOReturnTimeout);
  EXPECT_EQ(std::string(output, output_bytes), "kept");
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(ServiceBackend, takes_a_call_without_outputs) {
  io_connect_t connection = 0;
  ASSERT_EQ(open(first("with"), 0, connection), kIOReturnSuccess);
  EXPECT_EQ(IOConnectCallMethod(connection, 7, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
            kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
  EXPECT_EQ(story, "call 7 scalars 0 input 0 room 0 closed ");
}

TEST_F(ServiceBackend, refuses_a_connection_with_its_own_code) {
  io_connect_t connection = 0;
  EXPECT_EQ(open(first("with"), 1, connection), kRefused);
  EXPECT_EQ(connection, IO_OBJECT_NULL);
  EXPECT_EQ(open_connections(), 0U);
}

TEST_F(ServiceBackend, has_as_many_connections_as_are_open) {
  io_connect_t one = 0;
  io_connect_t two = 0;
  ASSERT_EQ(open(first("with"), 0, one), kIOReturnSuccess);
  ASSERT_EQ(open(first("with"), 0, two), kIOReturnSuccess);
  EXPECT_NE(one, two);
  EXPECT_EQ(open_connections(), 2U);
  EXPECT_EQ(IOServiceClose(one), kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(two), kIOReturnSuccess);
}

TEST_F(ServiceBackend, is_not_reached_through_a_closed_connection) {
  io_connect_t connection = 0;
  ASSERT_EQ(open(first("with"), 0, connection), kIOReturnSuccess);
  ASSERT_EQ(IOServiceClose(connection), kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnNotOpen);
  EXPECT_EQ(IOConnectCallMethod(connection, 7, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
            kIOReturnNotOpen);
}

TEST_F(ServiceBackend, of_a_hid_device_has_objects_that_name_their_entry) {
  const Owned<IOHIDDeviceRef> device(IOHIDDeviceCreate(kCFAllocatorDefault, first("with")));
  const Owned<IOHIDDeviceRef> same(IOHIDDeviceCreate(kCFAllocatorDefault, first("with")));
  ASSERT_NE(static_cast<IOHIDDeviceRef>(device), nullptr);
  EXPECT_EQ(CFGetTypeID(static_cast<IOHIDDeviceRef>(device)), IOHIDDeviceGetTypeID());
  EXPECT_NE(platform::registry_entry_of(device), 0U);
  EXPECT_TRUE(CFEqual(static_cast<IOHIDDeviceRef>(device), static_cast<IOHIDDeviceRef>(same)));
}

TEST_F(ServiceBackend, for_an_unknown_entry_ends_the_process) {
  EXPECT_DEATH(platform::set_service_backend(4711, nullptr), "platform: set_service_backend: no such entry");
}

}  // namespace
}  // namespace hub::test
