// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/calls/failing_calls_world.h"

#include "hub_ids.h"
#include "plugin_log.h"
#include "system/system_host.h"
#include "tests/support/property_list_objects.h"

namespace hub::test {

namespace {

constexpr std::size_t kClientLength = 31;
constexpr std::size_t kClients = 16;

// The plug-in's array stays and holds on to it.
LimitedAllocator& allocator_for_the_process() {
  static auto& instance = *new LimitedAllocator;
  return instance;
}

void set_properties(platform::RegistryEntryId entry, const platform::PropertyListDictionary& properties) {
  const auto objects = objects_of({properties});
  platform::set_registry_properties(entry, static_cast<CFDictionaryRef>(objects.get()));
}

// Numbers, texts and numbers in hexadecimal to the last byte.
Reply full_stream(const HubProperty& stream) {
  std::string bytes = std::string("\2entry ") + std::to_string(stream.id) + '\0' + std::string("\3\4\0\xFF\0\0\0\3", 8);
  while (bytes.size() < stream.length) {
    bytes += "\5";
  }
  return {bytes};
}

Reply client_table() {
  ReplyBuilder table = reply(kClients * kClientLength);
  for (std::size_t client = 0; client < kClients; ++client) {
    const std::size_t at = client * kClientLength;
    table.text(at, "client" + std::to_string(client)).u32(at + 12, 100).u32(at + 16, 200).u8(at + 28, 1);
  }
  return table;
}

ReplyBuilder counting_up(std::size_t length) {
  ReplyBuilder bytes = reply(length);
  for (std::size_t at = 0; at < length; ++at) {
    bytes.u8(at, static_cast<std::int64_t>(at % 127 + 1));
  }
  return bytes;
}

// A user client's methods, answered by their numbers.
AnswerScript answer_from(std::map<std::uint32_t, Reply>& methods) {
  return
      [&methods](std::uint32_t method, std::span<const std::byte>, std::span<std::byte> output, std::size_t& length) {
        const auto found = methods.find(method);
        if (found == methods.end()) {
          return kIOReturnUnsupported;
        }
        const Reply& answer = found->second;
        const std::size_t written = std::min(output.size(), answer.bytes.size());
        std::copy_n(std::as_bytes(std::span(answer.bytes)).begin(), written, output.begin());
        length = written + answer.surplus;
        return answer.status;
      };
}

std::int64_t kept_of(const std::string& name, const Counts& before, int blocks) {
  return name == "allocator blocks" ? blocks : live_counts().at(name) - before.at(name);
}

}  // namespace

void answer_everything(AnsweringDriver& driver) {
  driver.properties[kSSHBLatencyStats.id] = counting_up(kSSHBLatencyStats.length);
  driver.properties[kSSHBAssets.id] = counting_up(1479);
  for (const HubProperty& number : {kReportInterval, kRawMode, kFactoryMode, kIntCal, kDecimationEnabled, kStartupTime,
                                    kCalibrationComplete, kSystickInterval}) {
    driver.properties[number.id] = number_reply(1000 + number.id);
  }
  for (const HubProperty& text : {kManufacturer, kModel}) {
    driver.properties[text.id] = reply(text.length).text(0, "text of " + std::to_string(text.id));
  }
  for (const HubProperty& bytes :
       {kCalibrationMatrix, kOrientationMatrix, kCalibrationOffset, kCompassSensitivityCalibrationMatrix, kBatching}) {
    driver.properties[bytes.id] = counting_up(bytes.length);
  }
  driver.properties[kLocation.id] = reply(kLocation.length).text(0, "B").u32(1, 3);
  driver.properties[kRegisters.id] = counting_up(kRegisters.length).u32(0, 31);
  for (const HubProperty& stream : kDiagnosticStreams) {
    driver.properties[stream.id] = full_stream(stream);
  }
  driver.commands[kClientTableCommand] = client_table();
}

std::string joined(const Story& story) {
  std::string text;
  for (const std::string& part : story) {
    text += (text.empty() ? "" : "\n") + part;
  }
  return text;
}

World::World() : queue(nullptr), allocator_(allocator_for_the_process()), before_(live_counts()) {
  queue = dispatch_queue_create("plug-in", nullptr);
  platform::set_log_recorder([this](const platform::LogMessage& message) {
    const char* level = message.type == OS_LOG_TYPE_FAULT   ? "fault: "
                        : message.type == OS_LOG_TYPE_ERROR ? "error: "
                                                            : "default: ";
    log.push_back(level + message.text);
  });
  platform::use_ledger(&ledger);
  answer_everything(driver);
}

void World::make_instance() {
  instance.emplace(allocator_);
  if (instance->self() == nullptr) {
    instance.reset();
  }
}

void World::open() {
  if (instance) {
    instance->open();
  }
}

void World::schedule() {
  if (instance) {
    instance->schedule(queue);
  }
}

void World::start() {
  make_instance();
  open();
  schedule();
}

platform::PropertyListDictionary World::numbers(const std::map<std::string, std::int64_t>& all) const {
  platform::PropertyListDictionary dictionary;
  for (const auto& [name, number] : all) {
    if (answers(name)) {
      dictionary.push_back({name, platform::PropertyListValue{number}});
    }
  }
  return dictionary;
}

RecordedService& World::add(std::set<Usage> usages, bool has_statistics) {
  ServiceScript script;
  script.transport = platform::Owned<CFTypeRef>(  // no constant, which would not be counted
      CFStringCreateWithCString(kCFAllocatorDefault, "HUB", kCFStringEncodingUTF8));
  script.usages = std::move(usages);
  script.levels_above = 3;
  if (has_statistics) {
    script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(kCFBooleanTrue));
  }
  script.answer = [this](std::uint32_t id, auto input, auto output, std::size_t& length) {
    return driver.answer(id, input, output, length);
  };
  service = std::make_unique<RecordedService>(std::move(script), questions, kernel);
  set_properties(service->driver_entry, {{"DebugState", {numbers({{"_num_events", 5}})}}});
  const auto counters = platform::add_registry_entry(service->driver_entry, "queue", "Queue", nullptr);
  set_properties(counters, {{"DebugState",
                             {numbers({{"EnqueueEventCount", 6},
                                       {"DroppedEventCount", 7},
                                       {"LastEventTime", 1'500'000'000},
                                       {"LastDroppedEventTime", 250'000}})}}});
  return *service;
}

void World::add_clocks() {
  const auto time_sync = platform::add_registry_entry(platform::kNoParent, "timesync", "VantuHUBTimesync", nullptr);
  set_properties(time_sync,
                 {{"timesync", {numbers({{"hub", 5'000'000'000}, {"calendar", 1'700'000'000'000'000'000}})}}});
  platform::set_boot_time({1'699'000'000, 250'000});
}

void World::add_raw_debug_sources(const std::string& reports) {
  firmware_methods.insert({{2, {reports}}, {3, {""}}});
  profile_driver_methods.insert({{kDriverReportsMethod, {reports}}, {kErrorReportsMethod, {reports}}});
  add_client_service(kFirmwareProfileService, answer_from(firmware_methods));
  add_client_service(kProfileDriverService, answer_from(profile_driver_methods));
}

void World::end(Outcome& seen) {
  std::int64_t keys = 0;
  for (std::int32_t index = 0; instance && index < kStatLedgerKeyCount; ++index) {
    keys += instance->object().keyForIndex(StatLedgerKey{index}) != nullptr ? 1 : 0;
  }
  instance.reset();
  std::free(record);
  for (const CFStringRef description : descriptions) {
    CFRelease(description);
  }
  platform::use_ledger(nullptr);
  platform::clear_notifications();
  platform::clear_state_handlers();
  platform::set_log_recorder(nullptr);
  service.reset();
  platform::clear_registry();
  dispatch_release(queue);
  for (const auto& [name, count] : live_counts()) {
    seen["kept " + name] = std::to_string(count - before_.at(name));
  }
  seen["kept allocator blocks"] = std::to_string(kept_of("allocator blocks", before_, allocator_.blocks()));
  seen["kept strings that are no keys"] = std::to_string(kept_of("strings", before_, 0) - keys);
  seen["wrong registry releases"] = std::to_string(platform::wrong_registry_releases());
}

}  // namespace hub::test
