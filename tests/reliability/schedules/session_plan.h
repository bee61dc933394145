// SPDX-License-Identifier: Apache-2.0
// What happens in a session, but for the order in which those who act come to their turns.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/device/device_file.h"

namespace hub::test {

// A HID service that can be announced.
struct PlannedService {
  const char* name;
  std::pair<std::uint16_t, std::uint16_t> usage;
  bool publishes;  // its device has statistics
  bool of_the_hub;

  [[nodiscard]] bool is_consumer_button() const { return usage == std::pair<std::uint16_t, std::uint16_t>{0x0C, 0x01}; }
  [[nodiscard]] bool is_sensor() const;
  [[nodiscard]] bool leads_to_raw_debug() const;
};

inline constexpr std::size_t kPlannedServices = 8;
const std::array<PlannedService, kPlannedServices>& planned_services();

enum class Deed {
  kSchedule,   // the plug-in on queue `number`
  kRegister,   // service `number`
  kDeliver,    // batch `number`
  kPostFault,  // what the plug-in listens for
  kPostTick,   // what the listeners listen for
  kListen,     // listener `number` begins
  kCancel,     // and ends
  kCapture,    // state, for the reason `number`
};

struct Action {
  Deed deed;
  std::size_t number;

  [[nodiscard]] std::string text() const;
  [[nodiscard]] bool waits_for_queues() const { return deed == Deed::kCapture; }
};

// Those who act beside each other, each one action after the other.
enum Actor : std::size_t { kEventSystem, kDeliverer, kNotifier, kCapturer, kActors };
const char* name_of(Actor actor);

struct Plan {
  std::array<std::vector<Action>, kActors> actions;
  std::size_t queues = 1;                             // that the plug-in is scheduled on
  std::vector<host::Batch> batches;                   // each begins with a record that sets key 0 to its number
  std::vector<std::optional<std::size_t>> listeners;  // the queue of each, or none

  // When the event system registers the service, counted in its actions, and the queue that the plug-in has then.
  struct Registration {
    std::size_t action;
    std::size_t queue;
  };
  [[nodiscard]] std::optional<Registration> registration_of(std::size_t service) const;
};

// What this seed has happen.
Plan plan_of(std::uint64_t seed);

// All services in the order of their table, a batch for every key, and one capture of everything.
Plan plain_plan();

// The number of a service by its name.
std::size_t number_of(const std::string& service);

// The co-processor that has the services.
host::Device planned_device();

}  // namespace hub::test
