// SPDX-License-Identifier: Apache-2.0
#include "host/device/driver_model.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace hub::host {
namespace {

constexpr std::uint32_t kReadProperty = 10;  // the command whose input is a property's id

std::size_t room_of(const std::size_t* output_bytes) { return output_bytes != nullptr ? *output_bytes : 0; }

}  // namespace

AnswerTable::AnswerTable(const Replies& replies) {
  for (const auto& [id, plan] : replies) {
    replies_.emplace(id, Reply(plan));
  }
}

IOReturn AnswerTable::answer(std::uint32_t id, std::span<std::byte> output, std::size_t& output_bytes) {
  const auto reply = replies_.find(id);
  if (reply == replies_.end()) {
    return kIOReturnUnsupported;
  }
  const Answer answer = reply->second.next(output.size());
  if (answer.status == kIOReturnSuccess) {
    std::copy(answer.bytes.begin(), answer.bytes.end(), output.begin());
    output_bytes = answer.bytes.size();
  }
  return answer.status;
}

// clang-format off
const IOHIDHubDriverInterface DriverModel::kTable = {
    ._reserved = nullptr,
    .QueryInterface = query_no_interface,
    .AddRef = Object::add_reference,
    .Release = Object::release,
    .entry4 = nullptr,
    .entry5 = nullptr,
    .entry6 = nullptr,
    .entry7 = nullptr,
    .open = [](void* self, IOOptionBits) { return Object::of(self).model->open(); },
    .entry9 = nullptr,
    .command = [](void* self, std::uint32_t command, const void* input, std::size_t input_bytes, void* output,
                  std::size_t* output_bytes) {
      std::size_t length = 0;
      const IOReturn status = Object::of(self).model->command(
          command, {static_cast<const std::byte*>(input), input_bytes},
          {static_cast<std::byte*>(output), output != nullptr ? room_of(output_bytes) : 0}, length);
      if (status == kIOReturnSuccess && output_bytes != nullptr) {
        *output_bytes = length;
      }
      return status;
    },
};
// clang-format on

DriverModel::DriverModel(const DriverPlan& plan, Observations& observations)
    : observations_(observations),
      open_(plan.open),
      properties_(plan.properties),
      commands_(plan.commands),
      maker_(plan.plugin, CFUUIDGetUUIDBytes(kIOHIDHubDriverInterfaceID), kTable, *this,
             {"driver plug-in object", "driver interface"}, observations) {}

IOReturn DriverModel::open() {
  const std::lock_guard lock(mutex_);
  const IOReturn status = open_.next();
  if (status != kIOReturnSuccess) {
    observations_.count_refusal();
  }
  return status;
}

IOReturn DriverModel::command(std::uint32_t command, std::span<const std::byte> input, std::span<std::byte> output,
                              std::size_t& output_bytes) try {
  const std::lock_guard lock(mutex_);
  if (command != kReadProperty) {
    return commands_.answer(command, output, output_bytes);
  }
  std::uint32_t property = 0;
  if (input.size() != sizeof property) {
    return kIOReturnBadArgument;
  }
  std::memcpy(&property, input.data(), sizeof property);
  return properties_.answer(property, output, output_bytes);
} catch (const std::bad_alloc&) {
  return kIOReturnNoMemory;
}

}  // namespace hub::host
