// SPDX-License-Identifier: Apache-2.0
#include "host/device/modelled_registry.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>
#include <variant>

#include "hid/hid_host.h"
#include "host/device/driver_model.h"
#include "host/device/property_objects.h"
#include "host/device/user_client_model.h"
#include "registry/service_backend.h"

namespace hub::host {
namespace {

using platform::Owned;
using platform::RegistryEntryId;

bool is(const CFUUIDBytes& type, CFUUIDRef expected) {
  const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(expected);
  return std::memcmp(&type, &bytes, sizeof type) == 0;
}

// What an entry of the file offers. The models outlive the session's plug-in: the registry and the services hold them.
class NodeBackend final : public platform::ServiceBackend {
 public:
  NodeBackend(const Node& node, std::shared_ptr<DeviceModel> device, Observations& observations)
      : observations_(observations),
        driver_(node.driver ? std::make_unique<DriverModel>(*node.driver, observations) : nullptr),
        device_(std::move(device)),
        user_client_(node.user_client ? std::make_unique<UserClientModel>(*node.user_client) : nullptr) {}

  kern_return_t create_plugin(const CFUUIDBytes& type, IOCFPlugInInterface*** plugin) override {
    if (driver_ != nullptr && is(type, kIOHIDHubDriverPlugInTypeID)) {
      return driver_->create_plugin(plugin);
    }
    if (device_ != nullptr && is(type, kIOHIDHubDevicePlugInTypeID)) {
      return device_->create_plugin(plugin);
    }
    return kIOReturnUnsupported;
  }

  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    return user_client_ != nullptr ? user_client_->open(client) : kIOReturnUnsupported;
  }

  bool is_hid_device() override {
    const bool is_one = device_ != nullptr && device_->has_hid_device();
    if (!is_one) {
      observations_.count_refusal();
    }
    return is_one;
  }

 private:
  Observations& observations_;
  std::unique_ptr<DriverModel> driver_;
  std::shared_ptr<DeviceModel> device_;
  std::unique_ptr<UserClientModel> user_client_;
};

class ServiceModel final : public platform::HidServiceModel {
 public:
  ServiceModel(const HidPlan& plan, RegistryEntryId entry)
      : properties_(create_dictionary(plan.properties)), usages_(plan.usages.begin(), plan.usages.end()) {
    if (std::holds_alternative<HidPlan::NoId>(plan.registry_id)) {
      return;
    }
    const auto* other_id = std::get_if<std::int64_t>(&plan.registry_id);
    const std::int64_t id = other_id != nullptr ? *other_id : static_cast<std::int64_t>(entry);
    registry_id_ = created(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &id));
  }

  CFTypeRef property(CFStringRef key) override { return CFDictionaryGetValue(properties_.get(), key); }

  bool conforms_to(std::uint32_t usage_page, std::uint32_t usage) override {
    return usage_page <= UINT16_MAX && usage <= UINT16_MAX &&
           usages_.contains({static_cast<std::uint16_t>(usage_page), static_cast<std::uint16_t>(usage)});
  }

  CFTypeRef registry_id() override { return registry_id_.get(); }

 private:
  Owned<CFDictionaryRef> properties_;
  std::set<std::pair<std::uint16_t, std::uint16_t>> usages_;
  Owned<CFNumberRef> registry_id_;
};

void collect_ids(const std::vector<Node>& nodes, std::set<std::int64_t>& ids) {
  for (const Node& node : nodes) {
    if (node.id) {
      ids.insert(*node.id);
    }
    collect_ids(node.children, ids);
  }
}

}  // namespace

// An entry's own id, and the devices of its parent and of the parent above.
struct ModelledRegistry::Above {
  RegistryEntryId id = platform::kNoParent;
  std::shared_ptr<DeviceModel> parent_device;
  std::shared_ptr<DeviceModel> grandparent_device;
};

// What has been added is taken out when the rest cannot be: there is an object to be destroyed already.
ModelledRegistry::ModelledRegistry(const Device& device, Observations& observations) : ModelledRegistry() {
  collect_ids(device.registry, taken_ids_);
  for (const Node& root : device.registry) {
    add(root, {}, observations);
  }
}

ModelledRegistry::~ModelledRegistry() {
  forget_callbacks();
  platform::clear_registry();
}

RegistryEntryId ModelledRegistry::id_of(const Node& node) {
  if (node.id) {
    return static_cast<RegistryEntryId>(*node.id);
  }
  while (taken_ids_.contains(next_id_)) {
    ++next_id_;
  }
  return static_cast<RegistryEntryId>(next_id_++);
}

void ModelledRegistry::add(const Node& node, const Above& above, Observations& observations) {
  const auto properties = create_dictionary(node.properties);
  const RegistryEntryId id =
      platform::add_registry_entry(above.id, node.name, node.class_name, properties.get(), id_of(node));
  std::shared_ptr<DeviceModel> device;
  if (node.device) {
    device = std::make_shared<DeviceModel>(*node.device, observations);
    devices_.push_back(device);
  }
  platform::set_service_backend(id, std::make_shared<NodeBackend>(node, device, observations));
  if (node.hid) {
    services_.push_back({node.name,
                         created(platform::create_hid_service(std::make_unique<ServiceModel>(*node.hid, id))),
                         above.grandparent_device});
  }
  for (const Node& child : node.children) {
    add(child, {id, device, above.parent_device}, observations);
  }
}

void ModelledRegistry::forget_callbacks() {
  for (const auto& device : devices_) {
    device->forget_callback();
  }
}

}  // namespace hub::host
