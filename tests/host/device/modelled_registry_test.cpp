// SPDX-License-Identifier: Apache-2.0
#include "host/device/modelled_registry.h"

#include <optional>

#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDHubInterface.h"
#include "tests/host/device/interface_fixture.h"
#include "tests/platform/registry_fixture.h"

namespace hub::test {
namespace {

using host::Device;
using host::HidPlan;
using host::ModelledRegistry;
using host::ModelledService;
using host::Node;
using host::PropertyValue;

// A node with a class of its own name.
Node node(const std::string& name, std::vector<Node> children = {}) {
  Node result;
  result.name = name;
  result.class_name = name;
  result.children = std::move(children);
  return result;
}

Node with_id(std::int64_t id, Node result) {
  result.id = id;
  return result;
}

Node with_hid(Node result, HidPlan plan = {}) {
  result.hid = std::move(plan);
  return result;
}

Node with_device(Node result) {
  result.device.emplace();
  return result;
}

// What a test needs of the platform's calls, as a plug-in makes them.
class RegistryOfADevice : public RegistryTest {
 protected:
  ~RegistryOfADevice() override { registry.reset(); }

  const std::vector<ModelledService>& fill(std::vector<Node> roots) {
    registry.emplace(Device{std::move(roots), {}, {}}, observations);
    return registry->services();
  }

  static std::string name_of(io_service_t entry) {
    io_name_t name = "";
    IORegistryEntryGetName(entry, name);
    return name;
  }

  static std::string name_of(std::uint64_t id) {
    return name_of(HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id))));
  }

  static std::string names_of(const std::vector<ModelledService>& services) {
    std::string names;
    for (const ModelledService& service : services) {
      names += service.name + " ";
    }
    return names;
  }

  static std::int64_t reported_id(const ModelledService& service) {
    return value_of(IOHIDServiceGetRegistryID(service.service.get()));
  }

  static kern_return_t create_plugin(io_service_t entry, CFUUIDRef type) {
    IOCFPlugInInterface** plugin = nullptr;
    SInt32 score = 0;
    return IOCreatePlugInInterfaceForService(entry, type, kIOCFPlugInInterfaceID, &plugin, &score);
  }

  host::Observations observations;
  std::optional<ModelledRegistry> registry;
};

TEST_F(RegistryOfADevice, has_the_entries_in_the_files_order) {
  fill({node("hub", {node("first", {node("leaf")}), node("second")}), node("other")});
  io_registry_entry_t child = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetChildEntry(first("hub"), kIOServicePlane, &child), kIOReturnSuccess);
  EXPECT_EQ(name_of(HeldService(child)), "first");
  io_registry_entry_t parent = IO_OBJECT_NULL;
  ASSERT_EQ(IORegistryEntryGetParentEntry(first("second"), kIOServicePlane, &parent), kIOReturnSuccess);
  EXPECT_EQ(name_of(HeldService(parent)), "hub");
  EXPECT_EQ(IORegistryEntryGetParentEntry(first("other"), kIOServicePlane, &parent), kIOReturnNoDevice);
}

TEST_F(RegistryOfADevice, finds_the_first_of_a_class_with_its_properties) {
  Node one = node("same");
  one.properties.push_back({"mark", {std::int64_t{1}}});
  Node two = node("same");
  two.properties.push_back({"mark", {std::int64_t{2}}});
  fill({node("hub", {std::move(one)}), std::move(two)});
  EXPECT_EQ(mark_of_first("same"), 1);
}

TEST_F(RegistryOfADevice, has_name_and_class_apart) {
  Node accel = node("accel");
  accel.class_name = "VantuHUBSensor";
  fill({std::move(accel)});
  EXPECT_EQ(name_of(first("VantuHUBSensor")), "accel");
}

TEST_F(RegistryOfADevice, entry_has_the_id_that_the_file_gives) {
  fill({with_id(4294967301, node("accel")), with_id(INT64_MAX, node("gyro"))});
  EXPECT_EQ(name_of(std::uint64_t{4294967301}), "accel");
  EXPECT_EQ(name_of(std::uint64_t{INT64_MAX}), "gyro");
}

TEST_F(RegistryOfADevice, entries_without_an_id_get_one_that_no_other_has) {
  const auto& services = fill({with_hid(node("a", {with_hid(with_id(2, node("b")))})), with_hid(node("c")),
                               with_hid(with_id(1, node("d"))), with_hid(node("e"))});
  std::set<std::int64_t> ids;
  for (const ModelledService& service : services) {
    ids.insert(reported_id(service));
    EXPECT_EQ(name_of(static_cast<std::uint64_t>(reported_id(service))), service.name);
  }
  EXPECT_EQ(ids.size(), 5U);
  EXPECT_EQ(reported_id(services[1]), 2);
  EXPECT_EQ(reported_id(services[3]), 1);
}

TEST_F(RegistryOfADevice, services_stand_in_document_order) {
  EXPECT_EQ(names_of(fill({with_hid(node("a", {node("no", {with_hid(node("b"))}), with_hid(node("c"))})), node("none"),
                           with_hid(node("d"))})),
            "a b c d ");
}

TEST_F(RegistryOfADevice, service_reports_its_entrys_id_or_another_or_none) {
  HidPlan another;
  another.registry_id = std::int64_t{7};
  HidPlan none;
  none.registry_id = HidPlan::NoId{};
  const auto& services = fill({with_hid(with_id(5, node("own"))), with_hid(with_id(6, node("another")), another),
                               with_hid(with_id(8, node("none")), none)});
  EXPECT_EQ(reported_id(services[0]), 5);
  EXPECT_EQ(reported_id(services[1]), 7);
  EXPECT_EQ(IOHIDServiceGetRegistryID(services[2].service.get()), nullptr);
}

TEST_F(RegistryOfADevice, service_has_its_own_properties_and_not_its_entrys) {
  HidPlan plan;
  plan.properties.push_back({"Transport", {std::string("HUB")}});
  Node accel = with_hid(node("accel"), plan);
  accel.properties.push_back({"mark", {std::int64_t{1}}});
  std::vector<Node> roots;
  roots.push_back(std::move(accel));
  const IOHIDServiceRef service = fill(std::move(roots))[0].service.get();
  EXPECT_TRUE(CFEqual(IOHIDServiceGetProperty(service, CFSTR("Transport")), CFSTR("HUB")));
  EXPECT_EQ(IOHIDServiceGetProperty(service, CFSTR("mark")), nullptr);
}

TEST_F(RegistryOfADevice, service_conforms_to_its_usages_alone) {
  HidPlan plan;
  plan.usages = {{0x20, 0x31}, {0xFF00, 3}};
  const IOHIDServiceRef service = fill({with_hid(node("accel"), plan)})[0].service.get();
  EXPECT_TRUE(IOHIDServiceConformsTo(service, 0x20, 0x31));
  EXPECT_TRUE(IOHIDServiceConformsTo(service, 0xFF00, 3));
  EXPECT_FALSE(IOHIDServiceConformsTo(service, 0x20, 3));
  EXPECT_FALSE(IOHIDServiceConformsTo(service, 0x10020, 0x31));
  EXPECT_FALSE(IOHIDServiceConformsTo(service, 0x20, 0x10031));
}

TEST_F(RegistryOfADevice, device_of_a_service_stands_two_levels_above) {
  const auto& services =
      fill({with_device(node("hub", {with_hid(with_device(node("near", {with_hid(node("far"))})))}))});
  EXPECT_EQ(services[0].device, nullptr);
  EXPECT_NE(services[1].device, nullptr);
}

TEST_F(RegistryOfADevice, parent_and_root_have_no_device_above) {
  const auto& services = fill({with_hid(with_device(node("root", {with_hid(node("child"))})))});
  EXPECT_EQ(services[0].device, nullptr);
  EXPECT_EQ(services[1].device, nullptr);
}

TEST_F(RegistryOfADevice, device_is_shared_by_the_services_below_and_by_no_others) {
  const auto two_below = [](const std::string& name) {
    return with_device(node(name, {node("a", {with_hid(node("b"))}), node("c", {with_hid(node("d"))})}));
  };
  const auto& services = fill({two_below("one"), two_below("two")});
  ASSERT_EQ(services.size(), 4U);
  EXPECT_EQ(services[0].device, services[1].device);
  EXPECT_EQ(services[2].device, services[3].device);
  EXPECT_NE(services[0].device, services[2].device);
}

TEST_F(RegistryOfADevice, callback_installed_through_the_registry_gets_what_a_service_below_posts) {
  const auto& services = fill({with_device(node("hub", {node("middle", {with_hid(node("button"))})}))});
  IOCFPlugInInterface** plugin = nullptr;
  SInt32 score = 0;
  ASSERT_EQ(IOCreatePlugInInterfaceForService(first("hub"), kIOHIDHubDevicePlugInTypeID, kIOCFPlugInInterfaceID,
                                              &plugin, &score),
            kIOReturnSuccess);
  auto** device = query<IOHIDHubDeviceInterface>(plugin, kIOHIDHubDeviceInterfaceID).interface;
  std::uint64_t received = 0;
  (*device)->setStatisticsCallback(
      device, [](void* refcon, void*, std::uint64_t count) { *static_cast<std::uint64_t*>(refcon) += count; },
      &received);
  EXPECT_TRUE(services[0].device->post([](const host::DeviceModel::Publish& publish) {
    host::Bytes records(21);
    publish(records);
  }));
  EXPECT_EQ(received, 3U);
}

TEST_F(RegistryOfADevice, entry_offers_what_the_file_gives_it_and_no_more) {
  Node all = with_device(node("all"));
  all.driver.emplace();
  all.user_client.emplace();
  std::vector<Node> roots;
  roots.push_back(std::move(all));
  roots.push_back(node("nothing"));
  fill(std::move(roots));
  EXPECT_EQ(create_plugin(first("all"), kIOHIDHubDriverPlugInTypeID), kIOReturnSuccess);
  EXPECT_EQ(create_plugin(first("all"), kIOHIDHubDevicePlugInTypeID), kIOReturnSuccess);
  EXPECT_EQ(create_plugin(first("all"), IUnknownUUID), kIOReturnUnsupported);
  EXPECT_EQ(create_plugin(first("nothing"), kIOHIDHubDriverPlugInTypeID), kIOReturnUnsupported);
  EXPECT_EQ(create_plugin(first("nothing"), kIOHIDHubDevicePlugInTypeID), kIOReturnUnsupported);
  io_connect_t connection = IO_OBJECT_NULL;
  EXPECT_EQ(IOServiceOpen(first("nothing"), mach_task_self(), 0, &connection), kIOReturnUnsupported);
  EXPECT_EQ(IOServiceOpen(first("all"), mach_task_self(), 0, &connection), kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(RegistryOfADevice, hid_device_is_made_for_a_device_that_has_one_and_else_counted_as_refused) {
  Node without = with_device(node("without"));
  without.device->has_hid_device = false;
  std::vector<Node> roots;
  roots.push_back(with_device(node("with")));
  roots.push_back(std::move(without));
  roots.push_back(node("none"));
  fill(std::move(roots));
  const Owned<IOHIDDeviceRef> device(IOHIDDeviceCreate(kCFAllocatorDefault, first("with")));
  EXPECT_NE(static_cast<IOHIDDeviceRef>(device), nullptr);
  EXPECT_EQ(observations.refusals(), 0U);
  EXPECT_EQ(IOHIDDeviceCreate(kCFAllocatorDefault, first("without")), nullptr);
  EXPECT_EQ(IOHIDDeviceCreate(kCFAllocatorDefault, first("none")), nullptr);
  EXPECT_EQ(observations.refusals(), 2U);
}

TEST_F(RegistryOfADevice, is_empty_when_the_device_is_gone) {
  fill({node("hub")});
  registry.reset();
  EXPECT_EQ(static_cast<io_service_t>(first("hub")), IO_OBJECT_NULL);
}

}  // namespace
}  // namespace hub::test
