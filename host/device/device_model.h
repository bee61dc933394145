// SPDX-License-Identifier: Apache-2.0
// A device of the co-processor as a device file tells it: where statistics are delivered from.
#pragma once

#include <functional>
#include <mutex>
#include <span>

#include "IOKit/hid/IOHIDHubInterface.h"
#include "host/device/interface_object.h"

namespace hub::host {

class DeviceModel {
 public:
  DeviceModel(const DevicePlan& plan, Observations& observations);
  DeviceModel(const DeviceModel&) = delete;
  DeviceModel& operator=(const DeviceModel&) = delete;
  ~DeviceModel() { forget_callback(); }

  kern_return_t create_plugin(IOCFPlugInInterface*** plugin) { return maker_.create(plugin); }
  [[nodiscard]] bool has_hid_device() const { return has_hid_device_; }
  [[nodiscard]] bool has_callback() const;

  // Has `deliver` run on the queue that was given last, with the callback that was installed last; without a queue on
  // the calling thread. `deliver` gets the callback as a function of records: whole ones of 7 bytes. False: there is no
  // callback, and `deliver` is not called.
  using Publish = std::function<void(std::span<std::byte> records)>;
  bool post(std::function<void(const Publish&)> deliver);

  // Lets go of the queue and the callback.
  void forget_callback();

 private:
  using Object = InterfaceObject<IOHIDHubDeviceInterface, DeviceModel>;

  static const IOHIDHubDeviceInterface kTable;

  void set_queue(dispatch_queue_t queue);

  struct Callback {
    IOHIDHubStatisticsCallback function = nullptr;
    void* refcon = nullptr;
  };

  const bool has_hid_device_;
  mutable std::mutex mutex_;
  Status open_;
  Callback callback_;
  dispatch_queue_t queue_ = nullptr;  // retained
  PlugInMaker<IOHIDHubDeviceInterface, DeviceModel> maker_;
};

}  // namespace hub::host
