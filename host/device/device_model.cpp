// SPDX-License-Identifier: Apache-2.0
#include "host/device/device_model.h"

#include <utility>

namespace hub::host {
namespace {

constexpr std::size_t kRecordBytes = 7;

}  // namespace

// clang-format off
const IOHIDHubDeviceInterface DeviceModel::kTable = {
    ._reserved = nullptr,
    .QueryInterface = query_no_interface,
    .AddRef = Object::add_reference,
    .Release = Object::release,
    .entry4 = nullptr,
    .entry5 = nullptr,
    .entry6 = nullptr,
    .entry7 = nullptr,
    .open = [](void* self, IOOptionBits) {
      DeviceModel& model = *Object::of(self).model;
      const std::lock_guard lock(model.mutex_);
      return model.open_.next();
    },
    .entry9 = nullptr,
    .entry10 = nullptr,
    .entry11 = nullptr,
    .entry12 = nullptr,
    .entry13 = nullptr,
    .entry14 = nullptr,
    .entry15 = nullptr,
    .entry16 = nullptr,
    .setStatisticsCallback = [](void* self, IOHIDHubStatisticsCallback callback, void* refcon) {
      DeviceModel& model = *Object::of(self).model;
      const std::lock_guard lock(model.mutex_);
      model.callback_ = {callback, refcon};
    },
    .setDispatchQueue = [](void* self, dispatch_queue_t queue) { Object::of(self).model->set_queue(queue); },
};
// clang-format on

DeviceModel::DeviceModel(const DevicePlan& plan, Observations& observations)
    : has_hid_device_(plan.has_hid_device),
      open_(plan.open),
      maker_(plan.plugin, CFUUIDGetUUIDBytes(kIOHIDHubDeviceInterfaceID), kTable, *this,
             {"device plug-in object", "device interface"}, observations) {}

void DeviceModel::set_queue(dispatch_queue_t queue) {
  if (queue != nullptr) {
    dispatch_retain(queue);
  }
  dispatch_queue_t previous = nullptr;
  {
    const std::lock_guard lock(mutex_);
    previous = std::exchange(queue_, queue);
  }
  if (previous != nullptr) {
    dispatch_release(previous);
  }
}

bool DeviceModel::has_callback() const {
  const std::lock_guard lock(mutex_);
  return callback_.function != nullptr;
}

bool DeviceModel::post(std::function<void(const Publish&)> deliver) {
  std::unique_lock lock(mutex_);
  const Callback callback = callback_;
  dispatch_queue_t queue = queue_;
  lock.unlock();
  if (callback.function == nullptr) {
    return false;
  }
  auto block = [callback, deliver = std::move(deliver)] {
    deliver([&callback](std::span<std::byte> records) {
      callback.function(callback.refcon, records.data(), records.size() / kRecordBytes);
    });
  };
  if (queue != nullptr) {
    dispatch_async(queue, std::move(block));
  } else {
    block();
  }
  return true;
}

void DeviceModel::forget_callback() {
  set_queue(nullptr);
  const std::lock_guard lock(mutex_);
  callback_ = {};
}

}  // namespace hub::host
