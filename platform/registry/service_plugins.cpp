// SPDX-License-Identifier: Apache-2.0
// Plug-in objects and user clients: what a service's backend offers to programs.
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "IOKit/IOCFPlugIn.h"
#include "corefoundation/never_destroyed.h"
#include "failures/failures.h"
#include "registry/registry.h"

namespace hub::platform {

kern_return_t ServiceBackend::create_plugin(const CFUUIDBytes&, IOCFPlugInInterface***) { return kIOReturnUnsupported; }

kern_return_t ServiceBackend::open_user_client(std::uint32_t, std::unique_ptr<UserClient>&) {
  return kIOReturnUnsupported;
}

bool ServiceBackend::is_hid_device() { return false; }

namespace {

class Connections {
 public:
  io_connect_t add(std::unique_ptr<UserClient> client) {
    const std::lock_guard lock(mutex_);
    clients_.emplace(next_, std::move(client));
    return next_++;
  }

  // Shared with the caller, so that closing on another thread waits for the call's end.
  std::shared_ptr<UserClient> find(io_connect_t number) {
    const std::lock_guard lock(mutex_);
    const auto found = clients_.find(number);
    return found != clients_.end() ? found->second : nullptr;
  }

  // Hands it out, so that it is destroyed without the lock.
  std::shared_ptr<UserClient> remove(io_connect_t number) {
    const std::lock_guard lock(mutex_);
    const auto found = clients_.find(number);
    return found != clients_.end() ? std::move(clients_.extract(found).mapped()) : nullptr;
  }

  std::size_t count() {
    const std::lock_guard lock(mutex_);
    return clients_.size();
  }

 private:
  std::mutex mutex_;
  std::map<io_connect_t, std::shared_ptr<UserClient>> clients_;
  io_connect_t next_ = 1;
};

Connections& connections() {
  static NeverDestroyed<Connections> instance;  // programs may call until the very end of the process
  return instance.get();
}

kern_return_t open_connection(io_service_t service, std::uint32_t type, io_connect_t& connection) try {
  const auto entry = held_entry(service);
  if (!entry) {
    return kIOReturnBadArgument;
  }
  if (entry->backend == nullptr) {
    return kIOReturnUnsupported;
  }
  std::unique_ptr<UserClient> client;
  const kern_return_t status = entry->backend->open_user_client(type, client);
  if (status == kIOReturnSuccess) {
    connection = connections().add(std::move(client));
  }
  return status;
} catch (const std::bad_alloc&) {
  return kIOReturnNoMemory;
}

// What a host's method throws must not reach who called the platform in C.
MethodResult call_method(UserClient& client, const MethodCall& call) try {
  return client.call(call);
} catch (const std::bad_alloc&) {
  return {.status = kIOReturnNoMemory};
}

kern_return_t create_plugin(ServiceBackend& backend, const CFUUIDBytes& type, IOCFPlugInInterface*** plugin) try {
  return backend.create_plugin(type, plugin);
} catch (const std::bad_alloc&) {
  *plugin = nullptr;
  return kIOReturnNoMemory;
}

}  // namespace

std::size_t open_connections() { return connections().count(); }

}  // namespace hub::platform

using namespace hub::platform;

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef plugin_type, CFUUIDRef interface_type,
                                                IOCFPlugInInterface*** plugin, SInt32* score) {
  *plugin = nullptr;
  *score = 0;
  if (const auto code = failing_code(Fallible::kIOCreatePlugInInterfaceForService)) {
    return *code;
  }
  const auto entry = held_entry(service);
  if (!entry || !CFEqual(interface_type, kIOCFPlugInInterfaceID)) {
    return kIOReturnBadArgument;
  }
  return entry->backend != nullptr ? create_plugin(*entry->backend, CFUUIDGetUUIDBytes(plugin_type), plugin)
                                   : kIOReturnUnsupported;
}

kern_return_t IOServiceOpen(io_service_t service, mach_port_t, uint32_t type, io_connect_t* connection) {
  *connection = IO_OBJECT_NULL;
  if (const auto code = failing_code(Fallible::kIOServiceOpen)) {
    return *code;
  }
  return open_connection(service, type, *connection);
}

kern_return_t IOServiceClose(io_connect_t connection) {
  const auto code = failing_code(Fallible::kIOServiceClose);
  const bool was_open = connections().remove(connection) != nullptr;
  return code.value_or(was_open ? kIOReturnSuccess : kIOReturnNotOpen);
}

kern_return_t IOConnectCallMethod(io_connect_t connection, uint32_t selector, const uint64_t* input,
                                  uint32_t input_count, const void* input_structure, size_t input_structure_bytes,
                                  uint64_t* output, uint32_t* output_count, void* output_structure,
                                  size_t* output_structure_bytes) {
  if (const auto code = failing_code(Fallible::kIOConnectCallMethod)) {
    return *code;
  }
  const std::shared_ptr<UserClient> client = connections().find(connection);
  if (client == nullptr) {
    return kIOReturnNotOpen;
  }
  const MethodResult result =
      call_method(*client, {
                               .selector = selector,
                               .scalars = {input, input_count},
                               .input = {static_cast<const std::byte*>(input_structure), input_structure_bytes},
                               .output = {static_cast<std::byte*>(output_structure),
                                          output_structure_bytes != nullptr ? *output_structure_bytes : 0},
                               .scalars_out = {output, output_count != nullptr ? *output_count : 0},
                           });
  if (result.status == kIOReturnSuccess && output_structure_bytes != nullptr) {
    *output_structure_bytes = result.output_bytes;
  }
  if (result.status == kIOReturnSuccess && output_count != nullptr) {
    *output_count = static_cast<uint32_t>(result.scalars_out_count);
  }
  return result.status;
}
