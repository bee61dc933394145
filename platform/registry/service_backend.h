// SPDX-License-Identifier: Apache-2.0
// What a registry entry can do besides being looked at: the face by which a host stands behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "IOKit/IOCFPlugIn.h"
#include "registry/registry_host.h"

namespace hub::platform {

// One call of a user client's method.
struct MethodCall {
  std::uint32_t selector;
  std::span<const std::uint64_t> scalars;
  std::span<const std::byte> input;
  std::span<std::byte> output;           // room for the structure that comes out
  std::span<std::uint64_t> scalars_out;  // room for the scalars that come out
};

struct MethodResult {
  IOReturn status;
  std::size_t output_bytes = 0;  // what was written, at most the room; looked at when the status is 0
  std::size_t scalars_out_count = 0;
};

// One connection to a service's user client; destroyed when it is closed.
class PLATFORM_EXPORT UserClient {
 public:
  virtual ~UserClient() = default;
  virtual MethodResult call(const MethodCall& call) = 0;

 protected:
  UserClient() = default;
  UserClient(const UserClient&) = default;
  UserClient& operator=(const UserClient&) = default;
};

// What a host puts behind an entry. The functions are called on the threads that call the platform, several at once.
class PLATFORM_EXPORT ServiceBackend {
 public:
  virtual ~ServiceBackend() = default;

  // IOCreatePlugInInterfaceForService: sets a plug-in object with one reference for the caller, or returns a code.
  virtual kern_return_t create_plugin(const CFUUIDBytes& plugin_type, IOCFPlugInInterface*** plugin);

  // IOServiceOpen: sets a connection, or returns a code.
  virtual kern_return_t open_user_client(std::uint32_t type, std::unique_ptr<UserClient>& client);

  // Whether IOHIDDeviceCreate makes an object for it.
  virtual bool is_hid_device();

 protected:
  ServiceBackend() = default;
  ServiceBackend(const ServiceBackend&) = default;
  ServiceBackend& operator=(const ServiceBackend&) = default;
};

// Puts a backend behind an entry, which has none at first: no plug-ins, no user client, no HID device. It lives until
// the registry is cleared or it is replaced, and as long as a call into it runs. An unknown entry is a misuse.
// [any thread]
PLATFORM_EXPORT void set_service_backend(RegistryEntryId entry, std::shared_ptr<ServiceBackend> backend);

// How many connections are open. [any thread]
PLATFORM_EXPORT std::size_t open_connections();

}  // namespace hub::platform
