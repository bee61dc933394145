// SPDX-License-Identifier: Apache-2.0
// A sensor's description: whatever its driver answers and its event services have counted, there is no snapshot or one
// whose entries are of their types, no longer than they may be, and in their order. The first bytes of the input are
// the event services' properties, the others are the replies.
#include <algorithm>
#include <array>

#include "fuzz/plugin_world.h"
#include "fuzz/properties.h"

namespace {

using namespace hub;
using fuzz::entry;
using fuzz::require;

constexpr std::size_t kLongestText = 255;
constexpr std::size_t kLongestDiagnostic = 1023;

constexpr const char* kServiceCounters[] = {"_num_events"};
constexpr const char* kQueueCounters[] = {"EnqueueEventCount", "DroppedEventCount", "LastEventTime",
                                          "LastDroppedEventTime"};

constexpr std::string_view kNumbers[] = {"reportInterval",
                                         "systickInterval",
                                         "decimationEnabled",
                                         "sensorBatchInterval",
                                         "muxBatchInterval",
                                         "apBatchInterval",
                                         "apReportInterval",
                                         "endpointBatchCount",
                                         "rawMode",
                                         "factoryMode",
                                         "calibrationComplete",
                                         "startupTime",
                                         "intCal"};
constexpr std::string_view kTexts[] = {"sensorType",
                                       "manufacturer",
                                       "model",
                                       "location",
                                       "calibrationMatrix",
                                       "calibrationOffset",
                                       "orientationMatrix",
                                       "compassSensitivityCalibrationMatrix",
                                       "registers",
                                       "APEvents"};

struct Sensor {
  Sensor() {
    sensor = &world.offer({{0xFF00, 0x03}});
    queue = platform::add_registry_entry(sensor->driver_entry, "queue", "Queue", nullptr);
  }

  fuzz::World world;
  test::RecordedService* sensor = nullptr;
  platform::RegistryEntryId queue = 0;
};

Sensor* sensor = nullptr;

bool is_among(std::span<const std::string_view> keys, std::string_view key) {
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

// The number behind "extra" or "client"; they ascend.
void check_numbered(std::string_view digits, int& last, const std::string& key) {
  require(!digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }),
          "a number stands behind the key", key);
  const int number = std::stoi(std::string(digits));
  require(number > last, "numbered entries are in their order", key);
  last = number;
}

void check_entries(const platform::PropertyListValue& description) {
  int last_diagnostic = -1;
  int last_client = -1;
  for (const auto& [key, value] : std::get<platform::PropertyListDictionary>(description.value)) {
    if (const auto* number = std::get_if<std::int64_t>(&value.value)) {
      require(is_among(kNumbers, key), "a number stands where one may", key);
      require(*number == static_cast<std::int32_t>(*number), "a number has 32 bits", key);
      continue;
    }
    const auto* text = std::get_if<std::string>(&value.value);
    require(text != nullptr, "an entry is a number or a text", key);
    const bool is_diagnostic = key.starts_with("extra");
    require(text->size() <= (is_diagnostic ? kLongestDiagnostic : kLongestText), "a text is not too long", key);
    if (is_diagnostic) {
      check_numbered(std::string_view(key).substr(5), last_diagnostic, key);
    } else if (key.starts_with("client")) {
      check_numbered(std::string_view(key).substr(6), last_client, key);
    } else {
      require(is_among(kTexts, key), "a text stands where one may", key);
    }
  }
  require(last_client < 16, "there are at most 16 clients");
}

void check(const os_state_data_s* record, const std::string& counted) {
  const fuzz::Replies::Answered& clients = sensor->world.replies.last();
  if (record == nullptr) {
    require(clients.status != kIOReturnSuccess, "a description is missing when the interval or the clients fail");
    return;
  }
  const fuzz::Snapshot snapshot = fuzz::read_back(*record);
  require(snapshot.title == "SensorInfo", "the title says what it is", snapshot.title);
  check_entries(snapshot.contents);
  for (const std::string_view key : kNumbers) {
    entry<std::int64_t>(snapshot.contents, key);
  }
  require(entry<std::string>(snapshot.contents, "sensorType") == "service-carrier", "the type is the carrier's name");
  require(entry<std::string>(snapshot.contents, "APEvents").starts_with(counted), "the counters are what was counted",
          counted);
}

// The beginning of the text of the counters.
std::string counters_text(const fuzz::Property& service, const fuzz::Property& queue) {
  const auto enqueued = static_cast<std::int32_t>(fuzz::integer_in<std::int64_t>(queue, "EnqueueEventCount", -1));
  return std::to_string(fuzz::integer_in<std::int32_t>(service, "_num_events", -1)) +
         " [enqueued=" + std::to_string(enqueued) +
         " dropped=" + std::to_string(fuzz::integer_in<std::int32_t>(queue, "DroppedEventCount", -1)) +
         "; event_delta=";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  sensor = new Sensor;  // never destroyed, as what the plug-in keeps of it
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const fuzz::Property service = fuzz::any_dictionary(input, kServiceCounters);
  const fuzz::Property queue = fuzz::any_dictionary(input, kQueueCounters);
  platform::set_registry_properties(sensor->sensor->driver_entry, fuzz::properties_of("DebugState", service).get());
  platform::set_registry_properties(sensor->queue, fuzz::properties_of("DebugState", queue).get());
  sensor->world.replies.begin(input.rest());
  const std::string counted = counters_text(service, queue);
  fuzz::ask_handler(0, [&](const os_state_data_s* record) { check(record, counted); });
  return 0;
}
