// SPDX-License-Identifier: Apache-2.0
// A service's driver as a device file tells it: the plug-in objects and interfaces that it gives, and its answers.
#pragma once

#include <map>
#include <mutex>

#include "IOKit/hid/IOHIDHubInterface.h"
#include "host/device/interface_object.h"

namespace hub::host {

// The replies of a table of ids, at work. One thread at a time.
class AnswerTable {
 public:
  explicit AnswerTable(const Replies& replies);

  // Copies the next reply of this id into `output` and sets `output_bytes` to its length, when it is a success. An id
  // without replies answers kIOReturnUnsupported.
  IOReturn answer(std::uint32_t id, std::span<std::byte> output, std::size_t& output_bytes);

 private:
  std::map<std::uint32_t, Reply> replies_;
};

class DriverModel {
 public:
  DriverModel(const DriverPlan& plan, Observations& observations);

  kern_return_t create_plugin(IOCFPlugInInterface*** plugin) { return maker_.create(plugin); }

 private:
  using Object = InterfaceObject<IOHIDHubDriverInterface, DriverModel>;

  static const IOHIDHubDriverInterface kTable;

  IOReturn open();
  IOReturn command(std::uint32_t command, std::span<const std::byte> input, std::span<std::byte> output,
                   std::size_t& output_bytes);

  Observations& observations_;
  std::mutex mutex_;  // registration and captures ask on different threads
  Status open_;
  AnswerTable properties_;
  AnswerTable commands_;
  PlugInMaker<IOHIDHubDriverInterface, DriverModel> maker_;
};

}  // namespace hub::host
