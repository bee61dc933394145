// SPDX-License-Identifier: Apache-2.0
// How tests of modelled drivers and devices get at the interfaces that a plug-in would use.
#pragma once

#include <type_traits>
#include <utility>

#include "CoreFoundation/CFPlugInCOM.h"
#include "IOKit/IOCFPlugIn.h"
#include "host/device/device_file.h"
#include "host/device/observations.h"
#include "tests/platform/platform_test.h"

namespace hub::test {

// A plan, or the one given, with another value of one member.
template <typename Plan, typename Value>
Plan with(Value Plan::*member, std::type_identity_t<Value> value, Plan plan = {}) {
  plan.*member = std::move(value);
  return plan;
}

// What QueryInterface gives for an interface id.
template <typename Table>
struct Queried {
  HRESULT status;
  Table** interface;
};

template <typename Table>
Queried<Table> query(IOCFPlugInInterface** plugin, CFUUIDRef id) {
  void* interface = &plugin;  // something else than NULL
  const HRESULT status = (*plugin)->QueryInterface(plugin, CFUUIDGetUUIDBytes(id), &interface);
  return {status, static_cast<Table**>(interface)};
}

// The plug-in object of a model.
template <typename Model>
IOCFPlugInInterface** plugin_of(Model& model) {
  IOCFPlugInInterface** plugin = nullptr;
  EXPECT_EQ(model.create_plugin(&plugin), kIOReturnSuccess);
  return plugin;
}

inline host::Bytes bytes_of(const std::string& text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

}  // namespace hub::test
