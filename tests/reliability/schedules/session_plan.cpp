// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/schedules/session_plan.h"

#include <algorithm>
#include <numeric>

#include "ledger_keys.h"
#include "os/state.h"
#include "tests/reliability/schedules/seeded_choice.h"

namespace hub::test {
namespace {

constexpr std::byte kRecordVersion{0x43};
constexpr std::byte kOtherVersion{0x42};
constexpr std::uint8_t kSetScalar = 2;
constexpr std::uint8_t kAddToScalar = 3;

void append_record(host::Bytes& records, std::byte version, std::uint8_t operation, std::size_t key,
                   std::uint32_t value) {
  records.insert(records.end(), {version, std::byte{operation}, static_cast<std::byte>(key)});
  for (unsigned shift = 0; shift < 32; shift += 8) {
    records.push_back(static_cast<std::byte>(value >> shift));
  }
}

// A batch that tells its own number first.
host::Batch numbered_batch(std::size_t number, std::size_t service) {
  host::Batch batch{planned_services()[service].name, {}};
  append_record(batch.records, kRecordVersion, kSetScalar, 0, static_cast<std::uint32_t>(number));
  return batch;
}

// All operations, runs of up to three samples, all keys but the first, and some numbers that no key has.
void append_random_record(host::Bytes& records, SeededChoice& choice) {
  constexpr std::size_t kOperations = 9;
  constexpr std::uint32_t kHalf = 1U << 23U;
  constexpr std::size_t kNumbers = std::size_t{2} * kHalf;
  const std::byte version = choice.once_in(16) ? kOtherVersion : kRecordVersion;
  const auto operation = static_cast<std::uint8_t>(choice.below(kOperations));
  const std::size_t key = 1 + choice.below(kStatLedgerKeyCount + 2);
  append_record(records, version, operation, key, static_cast<std::uint32_t>(choice.below(kNumbers)) - kHalf);
}

template <typename Item>
void shuffle(std::vector<Item>& items, SeededChoice& choice) {
  for (std::size_t left = items.size(); left > 1; --left) {
    std::swap(items[left - 1], items[choice.below(left)]);
  }
}

// A queue first, then services in any order, between which the plug-in may be given another queue.
void plan_event_system(Plan& plan, SeededChoice& choice) {
  std::vector<std::size_t> order(kPlannedServices);
  std::iota(order.begin(), order.end(), std::size_t{0});
  shuffle(order, choice);
  order.resize(1 + choice.below(kPlannedServices));
  std::vector<Action>& actions = plan.actions[kEventSystem];
  actions.push_back({Deed::kSchedule, 0});
  for (const std::size_t service : order) {
    if (choice.once_in(4)) {
      actions.push_back({Deed::kSchedule, choice.below(plan.queues)});
    }
    actions.push_back({Deed::kRegister, service});
  }
}

void plan_deliverer(Plan& plan, SeededChoice& choice) {
  const std::size_t batches = choice.below(10);
  for (std::size_t number = 0; number < batches; ++number) {
    host::Batch batch = numbered_batch(number, choice.below(kPlannedServices));
    for (std::size_t records = choice.below(8); records > 0; --records) {
      append_random_record(batch.records, choice);
    }
    plan.batches.push_back(std::move(batch));
    plan.actions[kDeliverer].push_back({Deed::kDeliver, number});
  }
}

void plan_notifier(Plan& plan, SeededChoice& choice) {
  std::vector<Action>& actions = plan.actions[kNotifier];
  std::vector<std::size_t> listening;
  for (std::size_t turn = choice.below(12); turn > 0; --turn) {
    switch (choice.below(4)) {
      case 0:
        actions.push_back({Deed::kPostFault, 0});
        break;
      case 1:
        listening.push_back(plan.listeners.size());
        actions.push_back({Deed::kListen, plan.listeners.size()});
        plan.listeners.push_back(choice.once_in(3) ? std::nullopt : std::optional(choice.below(plan.queues)));
        break;
      case 2:
        if (!listening.empty()) {
          actions.push_back({Deed::kCancel, listening.back()});
          listening.pop_back();
        }
        break;
      default:
        actions.push_back({Deed::kPostTick, 0});
    }
  }
}

// One of all reasons at a time, and 0 and 4, which have no name.
void plan_capturer(Plan& plan, SeededChoice& choice) {
  for (std::size_t captures = 1 + choice.below(3); captures > 0; --captures) {
    plan.actions[kCapturer].push_back({Deed::kCapture, choice.once_in(2) ? OS_STATE_API_REQUEST : choice.below(5)});
  }
}

host::Properties properties_of(const PlannedService& service) {
  return {{"Transport", {service.of_the_hub ? "HUB" : "USB"}}, {"NEBSupportsStatLedger", {service.publishes}}};
}

host::Answer bytes(std::size_t count, unsigned char fill) { return {0, host::Bytes(count, std::byte{fill})}; }

host::DriverPlan driver_of(std::size_t number) {
  const auto fill = static_cast<unsigned char>(number + 1);
  host::DriverPlan driver;
  driver.properties = {{0, bytes(4, fill)}, {15, bytes(8, 'A')}, {215, bytes(330, fill)}, {216, bytes(1479, fill)}};
  driver.commands = {{57, bytes(62, fill)}};
  return driver;
}

host::Node node(const std::string& name, const char* class_name) {
  host::Node made;
  made.name = name;
  made.class_name = class_name;
  return made;
}

host::Node above(host::Node made, host::Node child) {
  made.children.push_back(std::move(child));
  return made;
}

// What the device belongs to, the device, an entry between, and the driver with its HID service.
host::Node node_of(std::size_t number) {
  const PlannedService& service = planned_services()[number];
  const std::string name = service.name;
  host::Node driver = node(name, "Driver");
  driver.hid.emplace();
  driver.hid->properties = properties_of(service);
  driver.hid->usages = {service.usage};
  driver.driver = driver_of(number);
  host::Node device = above(node(name + "-device", "Device"), above(node(name + "-between", "Between"), driver));
  device.device.emplace();
  return above(node(name + "-carrier", "Carrier"), std::move(device));
}

}  // namespace

bool PlannedService::is_sensor() const { return usage.first == 0x20 || usage.second == 0x03 || usage.second == 0x09; }

bool PlannedService::leads_to_raw_debug() const { return usage.first != 0; }

const std::array<PlannedService, kPlannedServices>& planned_services() {
  static constexpr std::array<PlannedService, kPlannedServices> kServices = {{
      {"button", {0x0C, 0x01}, true, true},
      {"telephony", {0x0B, 0x01}, false, true},
      {"proximity", {0xFF00, 0x03}, true, true},
      {"compass", {0xFF00, 0x09}, false, true},
      {"pressure", {0x20, 0x31}, true, true},
      {"debug", {0xFF00, 0x29}, false, true},
      {"aggregate", {0, 0}, true, true},
      {"keyboard", {0x0C, 0x01}, true, false},
  }};
  return kServices;
}

const char* name_of(Actor actor) {
  constexpr const char* kNames[kActors] = {"event system", "deliverer", "notifier", "capturer"};
  return kNames[actor];
}

std::string Action::text() const {
  constexpr const char* kTexts[] = {"schedules queue ", "registers service ",  "delivers batch ",
                                    "posts fault ",     "posts tick ",         "begins listener ",
                                    "ends listener ",   "captures for reason "};
  return kTexts[static_cast<std::size_t>(deed)] + std::to_string(number);
}

std::optional<Plan::Registration> Plan::registration_of(std::size_t service) const {
  std::size_t queue = 0;
  for (std::size_t index = 0; index < actions[kEventSystem].size(); ++index) {
    const Action& action = actions[kEventSystem][index];
    if (action.deed == Deed::kSchedule) {
      queue = action.number;
    } else if (action.number == service) {
      return Registration{index, queue};
    }
  }
  return std::nullopt;
}

Plan plan_of(std::uint64_t seed) {
  SeededChoice choice(seed);
  Plan plan;
  plan.queues = 1 + choice.below(3);
  plan_event_system(plan, choice);
  plan_deliverer(plan, choice);
  plan_notifier(plan, choice);
  plan_capturer(plan, choice);
  return plan;
}

Plan plain_plan() {
  Plan plan;
  plan.actions[kEventSystem].push_back({Deed::kSchedule, 0});
  for (std::size_t service = 0; service < kPlannedServices; ++service) {
    plan.actions[kEventSystem].push_back({Deed::kRegister, service});
  }
  plan.batches.push_back(numbered_batch(0, 0));
  for (std::size_t key = 1; key < kStatLedgerKeyCount; ++key) {
    append_record(plan.batches[0].records, kRecordVersion, kAddToScalar, key, 1);
  }
  plan.actions[kDeliverer].push_back({Deed::kDeliver, 0});
  plan.actions[kCapturer].push_back({Deed::kCapture, OS_STATE_API_REQUEST});
  return plan;
}

std::size_t number_of(const std::string& service) {
  const auto& services = planned_services();
  const auto found = std::find_if(services.begin(), services.end(),
                                  [&](const PlannedService& candidate) { return candidate.name == service; });
  return static_cast<std::size_t>(found - services.begin());
}

host::Device planned_device() {
  host::Device device;
  for (std::size_t number = 0; number < kPlannedServices; ++number) {
    device.registry.push_back(node_of(number));
  }
  return device;
}

}  // namespace hub::test
