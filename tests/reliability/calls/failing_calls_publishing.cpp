// SPDX-License-Identifier: Apache-2.0
// Scenarios of what runs on the plug-in's queue without being asked: the notification, and batches of operations.
#include <set>

#include "notify.h"
#include "publishing.h"
#include "tests/reliability/calls/failing_calls_consequences.h"
#include "tests/reliability/calls/failing_calls_world.h"

namespace hub::test {
namespace {

using platform::Fallible;

constexpr char kFaultNotification[] = "com.vantu.vantuhubhidstatistics.fault";

// A record of each operation, of a version that is not ours, and of a key that nobody has.
std::vector<LedgerOp> batch() {
  struct Row {
    unsigned version, op, key;
  };
  std::vector<LedgerOp> records;
  for (const Row& row :
       {Row{0x43, 0, 0}, Row{0x43, 1, 1}, Row{0x43, 2, 2}, Row{0x43, 3, 3}, Row{0x43, 4, 4}, Row{0x43, 5, 5},
        Row{0x43, 6, 6}, Row{0x43, 7, 7}, Row{0x42, 3, 8}, Row{0x43, 3, 200}, Row{0x43, 2, 66}, Row{0x43, 255, 9}}) {
    records.push_back({{std::byte(row.version), std::byte(row.op), std::byte(row.key), std::byte(3), std::byte(0),
                        std::byte(1), std::byte(0)}});
  }
  return records;
}

void publish_batch(World& world) {
  std::vector<LedgerOp> records = batch();
  dispatch_sync(world.queue, [&] {
    world.service->device->callback(world.service->device->refcon, records.data(), records.size());
  });
}

// Equal lines are told apart by their turn.
void observe_publishing(World& world, Outcome& seen) {
  std::map<std::string, int> turns;
  for (const std::string& call : world.ledger.story) {
    seen["filed " + call + " turn " + std::to_string(++turns[call])] = "yes";
  }
  std::size_t number = 100;
  for (const std::string& line : world.log) {
    seen["told " + std::to_string(++number)] = line;
  }
  world.log.clear();
}

// One more turn missing is the last one missing: equal samples are not told apart.
Consequence one_call_is_lost(std::string beginning) {
  return [beginning = std::move(beginning)](const Known& known, const Failure&) {
    std::vector<Outcome> outcomes;
    for (const auto& [key, value] : known.undisturbed) {
      const std::size_t turn = key.rfind(" turn ");
      const std::string next = key.substr(0, turn) + " turn " +
                               std::to_string(turn != std::string::npos ? std::stoi(key.substr(turn + 6)) + 1 : 0);
      if (key.starts_with("filed " + beginning) && !known.undisturbed.contains(next)) {
        Outcome outcome = known.undisturbed;
        outcome.erase(key);
        outcomes.push_back(std::move(outcome));
      }
    }
    return outcomes;
  };
}

// The text between the quotes of a line of the log.
std::string with_text(const std::string& line, const std::string& text) {
  const std::size_t begin = line.find('\'');
  const std::size_t end = line.rfind('\'');
  return begin == std::string::npos ? line + " has no text" : line.substr(0, begin + 1) + text + line.substr(end);
}

std::string with_an_unknown_text(const std::string& line) { return with_text(line, "<string>"); }

std::vector<Promise> publishing_promises() {
  return {
      {Fallible::kSLClientClearScalarKey, "it is not cleared", one_call_is_lost("clear-scalar")},
      {Fallible::kSLClientSetValueForScalarKey, "it is not set", one_call_is_lost("set-scalar")},
      {Fallible::kSLClientAddValueForScalarKey, "it is not added", one_call_is_lost("add")},
      {Fallible::kSLClientClearDistributionKey, "it is not cleared", one_call_is_lost("clear-distribution")},
      {Fallible::kSLClientSetValueForDistributionKey, "it is not set", one_call_is_lost("set-distribution")},
      {Fallible::kSLClientPushValueForDistributionKey, "it is not pushed", one_call_is_lost("push")},
      {Fallible::kCFStringGetCStringPtr, "the service cannot read the key", one_call_is_lost("")},
      {Fallible::kCFStringGetCStringPtr, "the log cannot read the key", one_becomes("told ", with_an_unknown_text)},
  };
}

// A key is NULL: nothing is filed under it, and its records are told without a text.
std::vector<Outcome> without_one_key(const Known& known, const Failure&) {
  std::vector<Outcome> outcomes;
  for (const LedgerOp& record : batch()) {
    const auto index = std::to_integer<std::size_t>(record.bytes[2]);
    if (index >= static_cast<std::size_t>(kStatLedgerKeyCount)) {
      continue;
    }
    const std::string key = kStatLedgerKeyNames[index].text;
    Outcome outcome = known.undisturbed;
    outcome["kept strings"] = "66";
    std::erase_if(outcome, [&](const auto& pair) {
      return pair.first.starts_with("filed ") && pair.first.find(" " + key + " ") != std::string::npos;
    });
    for (auto& [name, line] : outcome) {
      if (name.starts_with("told ") && line.find("'" + key + "'") != std::string::npos) {
        line = with_text(line, "(null)");
      }
    }
    outcomes.push_back(std::move(outcome));
  }
  return outcomes;
}

std::vector<Promise> opening_promises() {
  const std::vector<Change> untouched = {
      {"filed *", kGone}, {"told *", kGone}, {"kept registry handles", "0"}, {"kept allocator blocks", "1"}};
  const std::vector<Change> dropped = {{"filed *", kGone},
                                       {"told *", kGone},
                                       {"told 101", "default: registerService: name=service"},
                                       {"kept registry handles", "1"},
                                       {"kept allocator blocks", "1"}};
  const std::vector<Change> unwired = {
      {"filed *", kGone}, {"told *", kGone}, {"told 101", "default: registerService: name=service"}};
  return each({Fallible::kIOHIDServiceGetRegistryID, Fallible::kIOHIDServiceCopyProperty,
               Fallible::kIOHIDServiceGetProperty, Fallible::kCFNumberGetValue, Fallible::kIORegistryEntryIDMatching,
               Fallible::kCFDictionaryCreateMutable, Fallible::kCFNumberCreate, Fallible::kIOServiceGetMatchingService},
              "the service is left alone", changes(untouched)) +
         each({Fallible::kIOObjectRelease, Fallible::knotify_register_dispatch,
               Fallible::kIOCreatePlugInInterfaceForService, Fallible::kCFNumberGetValue},
              "nothing that the batch needs", nothing()) +
         publishing_promises() +
         std::vector<Promise>{
             {Fallible::kIORegistryEntryGetParentEntry, "the service is dropped", changes(dropped)},
             {Fallible::kIOCreatePlugInInterfaceForService, "the device calls nothing back", changes(unwired)},
             {Fallible::kIORegistryEntryGetName, "its name is told as empty",
              changes({{"told 101", "default: registerService: name="}})},
             {Fallible::kCFStringCreateWithCString, "a key of no record is NULL", changes({{"kept strings", "66"}})},
             {Fallible::kCFStringCreateWithCString, "a key is NULL", without_one_key},
             {Fallible::kCFAllocatorAllocate, "there is no object",
              changes(untouched + std::vector<Change>{{"kept strings", "0"},
                                                      {"kept arrays", "0"},
                                                      {"kept allocator blocks", "0"}})},
             {Fallible::kCFArrayCreateMutable, "the service is in no array, for there is none",
              changes({{"kept arrays", "0"}, {"kept allocator blocks", "0"}})},
             {Fallible::kos_log_create, "nothing is told", changes({{"told *", kGone}})},
             {Fallible::kCFAllocatorAllocate, "the service is in no array", changes({{"kept allocator blocks", "1"}})},
         };
}

}  // namespace

std::vector<Scenario> publishing_scenarios() {
  Scenario notification{.name = "notification",
                        .prepare = [](World& world) { world.start(); },
                        .act =
                            [](World& world) {
                              notify_post(kFaultNotification);
                              dispatch_sync(world.queue, [] {});
                            },
                        .observe = [](World&, Outcome&) {}};
  notification.promises = {{Fallible::knotify_post, "nothing is heard", changes({{"log", ""}})}};

  Scenario operations{.name = "batch",
                      .prepare =
                          [](World& world) {
                            world.start();
                            world.instance->register_service(world.add({}, true));
                          },
                      .act = publish_batch,
                      .observe = observe_publishing,
                      .services = 1};
  operations.promises = publishing_promises();
  operations.when_all_fail = {{"told ", {kAny}}};
  // The instance and its keys are made while calls fail, too: a key that is NULL is not filed, and told as such.
  Scenario opening = operations;
  opening.name = "load_to_batch";
  opening.prepare = [](World& world) { world.add({}, true); };
  opening.act = [](World& world) {
    world.start();
    if (world.instance) {
      world.instance->register_service(*world.service);
    }
    if (world.service->device->callback != nullptr) {
      publish_batch(world);
    }
  };
  opening.promises = opening_promises();
  return {notification, operations, opening};
}

}  // namespace hub::test
