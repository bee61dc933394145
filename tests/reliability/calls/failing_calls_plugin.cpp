// SPDX-License-Identifier: Apache-2.0
// Scenarios of the plug-in's life: loading, and each kind of service.
#include "notify.h"
#include "plugin_log.h"
#include "tests/reliability/calls/failing_calls_consequences.h"
#include "tests/reliability/calls/failing_calls_world.h"

namespace hub::test {
namespace {

using platform::Fallible;

constexpr char kFaultNotification[] = "com.vantu.vantuhubhidstatistics.fault";

// --- loading

struct QueryRow {
  const char* name;
  CFUUIDRef (*interface_id)();
};
const QueryRow kQueries[] = {
    {"first interface", [] { return kIOHIDSessionFilterPlugInInterfaceID; }},
    {"second interface", [] { return kIOHIDSessionFilterPlugInInterfaceID2; }},
    {"IUnknown", [] { return IUnknownUUID; }},
    {"another", [] { return kIOHIDSessionFilterPlugInTypeID; }},
};

void load(World& world) {
  world.make_instance();
  if (!world.instance) {
    return;
  }
  Instance& instance = *world.instance;
  for (const QueryRow& row : kQueries) {
    void* answer = instance.self();
    const HRESULT status =
        instance.table().QueryInterface(instance.self(), CFUUIDGetUUIDBytes(row.interface_id()), &answer);
    const char* given = answer == instance.self() ? "the object" : answer == nullptr ? "NULL" : "something else";
    world.questions.push_back(std::string(row.name) + " " + std::to_string(static_cast<std::uint32_t>(status)) + " " +
                              given);
    if (answer != nullptr) {
      instance.release();
    }
  }
  world.questions.push_back(std::string("open ") + (instance.open() ? "true" : "false"));
  world.schedule();
  instance.table().close(instance.self(), nullptr, 0);
}

void observe_loading(World& world, Outcome& seen) {
  seen["factory"] = world.instance ? "an object" : "NULL";
  if (!world.instance) {
    return;
  }
  for (const std::string& answer : world.questions) {
    seen["answer " + answer.substr(0, answer.find(' '))] = answer;
  }
  for (std::int32_t index = 0; index < kStatLedgerKeyCount; ++index) {
    const CFStringRef key = world.instance->object().keyForIndex(StatLedgerKey{index});
    const char* text = key != nullptr ? CFStringGetCStringPtr(key, kCFStringEncodingUTF8) : "NULL";
    seen["key " + std::to_string(index)] = text;
  }
  seen["process log"] = pluginLog() != nullptr ? "there" : "none";
  seen["notifications"] = std::to_string(platform::notification_registrations());
  notify_post(kFaultNotification);
  dispatch_sync(world.queue, [] {});
  const ULONG references = world.instance->add_reference();
  seen["references"] = std::to_string(references);
  world.instance->release();
}

std::string refused(const std::string& answer) {
  return answer.substr(0, answer.rfind(" the")).substr(0, answer.find(" 0 ")) + " 2147483652 NULL";
}

const Consequence kNoObject = changes({{"factory", "NULL"},
                                       {"answer *", kGone},
                                       {"key *", kGone},
                                       {"process log", kGone},
                                       {"notifications", kGone},
                                       {"references", kGone},
                                       {"log", ""},
                                       {"kept strings", "0"},
                                       {"kept arrays", "0"},
                                       {"kept allocator blocks", "0"}});
const Consequence kNoArray = changes({{"kept arrays", "0"}, {"kept allocator blocks", "0"}});

std::vector<Consequence> refused_queries() {
  return {one_becomes("answer first", refused), one_becomes("answer second", refused),
          one_becomes("answer IUnknown", refused)};
}

// --- services

struct ServiceKindRow {
  const char* name;
  std::set<Usage> usages;
  bool has_statistics;
  bool has_hid_device;
  bool has_handlers;
};
const ServiceKindRow kServiceKinds[] = {
    {"aggregate", {}, true, false, false},
    {"consumer_button", {{0x0C, 0x01}}, false, true, true},
    {"telephony_button", {{0x0B, 0x01}}, false, false, true},
    {"sensor_ff00_03", {{0xFF00, 0x03}}, false, false, true},
    {"sensor_ff00_09", {{0xFF00, 0x09}}, false, false, true},
    {"sensor_ff00_0a", {{0xFF00, 0x0A}}, false, false, true},
    {"sensor_20_31", {{0x20, 0x31}}, false, false, true},
    {"debug", {{0xFF00, 0x29}}, false, false, true},
    {"all_kinds", {{0x0C, 0x01}, {0x0B, 0x01}, {0xFF00, 0x03}, {0xFF00, 0x29}}, true, true, true},
};

void observe_registration(World& world, Outcome& seen) {
  for (const std::string& step : world.kernel) {
    seen["step " + step] = "done";
  }
  for (const std::string& question : world.questions) {
    seen["question " + question] = "asked";
  }
  seen["handlers"] = std::to_string(platform::state_handlers());
  const RecordingSide& device = *world.service->device;
  const bool wired = device.callback != nullptr && device.refcon == world.instance->self();
  seen["callback"] = wired && device.queue == world.queue ? "on the queue"
                     : device.callback == nullptr         ? "none"
                                                          : "wrong";
}

const std::vector<Change> kUntouched = {{"step *", kGone},         {"handlers", "0"},
                                        {"callback", "none"},      {"kept registry handles", "0"},
                                        {"kept HID devices", "0"}, {"kept allocator blocks", "1"}};

// Dropped without a word, dropped when its name was told, and taken without something.
std::vector<Promise> registration_promises(const ServiceKindRow& kind) {
  const Consequence silently = changes(kUntouched + std::vector<Change>{{"log", ""}});
  const Consequence without_device = changes(kUntouched + std::vector<Change>{{"kept registry handles", "1"}});
  std::vector<Promise> promises =
      each({Fallible::kIOHIDServiceGetRegistryID, Fallible::kCFNumberGetValue, Fallible::kIORegistryEntryIDMatching,
            Fallible::kCFDictionaryCreateMutable, Fallible::kCFNumberCreate, Fallible::kIOServiceGetMatchingService},
           "the service is left alone", silently) +
      std::vector<Promise>{
          {Fallible::kIOHIDServiceCopyProperty, "the service is left alone without a question",
           changes(kUntouched + std::vector<Change>{{"log", ""}, {"question *", kGone}})},
          {Fallible::kIORegistryEntryGetName, "its name is told as empty",
           changes({{"log", "default: registerService: name="}})},
          {Fallible::kIORegistryEntryGetParentEntry, "it is dropped", without_device},
          {Fallible::kIOCreatePlugInInterfaceForService, "it is kept without a driver",
           changes({{"step driver *", kGone}})},
          {Fallible::kIOCreatePlugInInterfaceForService, "it is kept without a device",
           changes({{"step device *", kGone}, {"callback", "none"}})},
      };
  if (kind.has_handlers) {
    promises.push_back(
        {Fallible::kos_state_add_handler, "one handler is missing", [](const Known& known, const Failure&) {
           Outcome outcome = known.undisturbed;
           outcome["handlers"] = std::to_string(std::stoi(outcome.at("handlers")) - 1);
           return std::vector{outcome};
         }});
  }
  const Change not_asked = {"question property NEBSupportsStatLedger", kGone};
  if (kind.has_statistics && !kind.has_handlers) {
    promises.push_back({Fallible::kIOHIDServiceGetProperty, "it is of no interest",
                        changes(kUntouched + std::vector<Change>{{"log", ""}, not_asked})});
  } else if (kind.has_statistics) {
    promises.push_back({Fallible::kIOHIDServiceGetProperty, "it has no statistics",
                        changes({{"step device given *", kGone}, {"callback", "none"}, not_asked})});
  } else {
    promises.push_back({Fallible::kIOHIDServiceGetProperty, "it has no statistics", changes({not_asked})});
  }
  if (kind.has_hid_device) {
    const std::vector<Change> dropped = {{"handlers", "0"}, {"kept HID devices", "0"}, {"kept allocator blocks", "1"}};
    promises.push_back({Fallible::kIOHIDDeviceCreate, "the button is dropped",
                        changes(dropped + std::vector<Change>{{"step HID device asked for", kGone}})});
    promises.push_back({Fallible::kCFAllocatorAllocate, "the button is dropped", changes(dropped)});
  }
  promises.push_back(
      {Fallible::kCFAllocatorAllocate, "the service is in no array", changes({{"kept allocator blocks", "1"}})});
  promises.push_back({Fallible::kCFNumberGetValue, "an entry that is not the driver is not compared", nothing()});
  promises.push_back({Fallible::kIOObjectRelease, "nothing", nothing()});
  return promises;
}

}  // namespace

std::vector<Scenario> loading_scenarios() {
  Scenario scenario{.name = "loading", .prepare = [](World&) {}, .act = load, .observe = observe_loading};
  scenario.promises = {
      {Fallible::kCFAllocatorAllocate, "the factory has no object", kNoObject},
      {Fallible::kCFArrayCreateMutable, "there is no array of contexts", kNoArray},
      {Fallible::kCFStringCreateWithCString, "one key is NULL",
       one_becomes("key ", [](const std::string&) -> std::string { return "NULL"; }, {{"kept strings", "66"}})},
      {Fallible::kos_log_create, "nothing is told", changes({{"process log", "none"}, {"log", ""}})},
      {Fallible::knotify_register_dispatch, "no fault is heard", changes({{"notifications", "0"}, {"log", ""}})},
      {Fallible::kCFUUIDCreateFromUUIDBytes, "the one that is refused in any case is refused", nothing()},
  };
  for (const Consequence& consequence : refused_queries()) {
    scenario.promises.push_back({Fallible::kCFUUIDCreateFromUUIDBytes, "a query is refused", consequence});
  }
  scenario.when_all_fail = {{"factory", {"NULL"}},
                            {"answer first", {"first interface 2147483652 NULL"}},
                            {"answer second", {"second interface 2147483652 NULL"}},
                            {"answer IUnknown", {"IUnknown 2147483652 NULL"}},
                            {"key ", {"NULL"}},
                            {"process log", {"none"}},
                            {"notifications", {"0"}}};
  return {scenario};
}

std::vector<Scenario> registration_scenarios() {
  std::vector<Scenario> scenarios;
  for (const ServiceKindRow& kind : kServiceKinds) {
    Scenario scenario{.name = std::string("registration.") + kind.name};
    scenario.prepare = [kind](World& world) {
      world.start();
      world.add(kind.usages, kind.has_statistics);
    };
    scenario.act = [](World& world) { world.instance->register_service(*world.service); };
    scenario.observe = observe_registration;
    scenario.promises = registration_promises(kind);
    scenario.when_all_fail = {{"handlers", {kFewer}}, {"callback", {"none"}}};
    scenario.lines_when_all_fail = {"default: registerService: name="};
    scenario.services = 1;
    scenario.consumer_buttons = kind.has_hid_device ? 1 : 0;
    scenarios.push_back(std::move(scenario));
  }
  return scenarios;
}

}  // namespace hub::test
