// SPDX-License-Identifier: Apache-2.0
// The description of a sensor: identity, timing, calibration, registers, diagnostics, clients and event counters.
#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "VantuHUBHIDStatistics.h"
#include "diagnostic_stream.h"
#include "event_counters.h"
#include "held_service.h"
#include "hub_ids.h"
#include "little_endian.h"
#include "mach/mach_error.h"
#include "plugin_log.h"
#include "sensor_texts.h"
#include "state_frame.h"

namespace {

constexpr std::size_t kLargestReply = 256;
constexpr CFIndex kExpectedEntries = 32;
constexpr std::size_t kClientLength = 31;
constexpr std::size_t kClientInUseAt = 28;

// A reply that is shown as one text. A read that fails shows what is there: zeros.
struct TextRow {
  const char* key;
  HubProperty property;
  SensorText (*text)(SensorReply reply);
};

// A reply that is one number. A read that fails, or gives another length than 4, shows -1.
struct NumberRow {
  const char* key;
  HubProperty property;
};

constexpr TextRow kIdentityRows[] = {
    {"manufacturer", kManufacturer, plainText},
    {"model", kModel, plainText},
    {"location", kLocation, locationText},
};

constexpr NumberRow kIntervalRows[] = {
    {"systickInterval", kSystickInterval},
    {"decimationEnabled", kDecimationEnabled},
};

// The five numbers of one reply.
constexpr const char* kBatchingKeys[] = {"sensorBatchInterval", "muxBatchInterval", "apBatchInterval",
                                         "apReportInterval", "endpointBatchCount"};
static_assert(sizeof(std::uint32_t) * std::size(kBatchingKeys) == kBatching.length);

constexpr NumberRow kModeRows[] = {
    {"rawMode", kRawMode},         {"factoryMode", kFactoryMode}, {"calibrationComplete", kCalibrationComplete},
    {"startupTime", kStartupTime}, {"intCal", kIntCal},
};

consteval bool haveNumbersLength(std::span<const NumberRow> rows) {
  for (const NumberRow& row : rows) {
    if (row.property.length != sizeof(std::uint32_t)) {
      return false;
    }
  }
  return true;
}
static_assert(haveNumbersLength(kIntervalRows) && haveNumbersLength(kModeRows));

constexpr TextRow kCalibrationRows[] = {
    {"calibrationMatrix", kCalibrationMatrix, fixedMatrixText},
    {"calibrationOffset", kCalibrationOffset, offsetText},
    {"orientationMatrix", kOrientationMatrix, orientationText},
    {"compassSensitivityCalibrationMatrix", kCompassSensitivityCalibrationMatrix, fixedMatrixText},
    {"registers", kRegisters, registersText},
};

// Here, unlike everywhere else, the error's text is told first.
void logFailure(const char* expression, IOReturn result, int line) {
  const char* text = mach_error_string(result);
  logAssertion({.prefix = text != nullptr ? text : "", .expression = expression, .line = line});
}

}  // namespace

// Collects one sensor's description, in the order in which it is shown.
class SensorDescription {
 public:
  SensorDescription(VantuHUBHIDStatistics& plugIn, ServiceContext& context, CFMutableDictionaryRef state)
      : plugIn_(plugIn), context_(context), state_(state) {}

  // False: there is no snapshot, which has been told where that is due.
  bool collect() {
    if (!addReportInterval() || !addSensorType()) {
      return false;
    }
    addTexts(kIdentityRows);
    addNumbers(kIntervalRows);
    addBatching();
    addNumbers(kModeRows);
    addTexts(kCalibrationRows);
    addDiagnostics();
    if (!addClients()) {
      return false;
    }
    if (const auto counters = eventCountersText(context_.deviceService)) {
      addString(state_, "APEvents", counters->data());
    }
    return true;
  }

 private:
  using Buffer = std::array<std::byte, kLargestReply>;

  bool addReportInterval() {
    std::array<std::byte, kReportInterval.length> reply{};
    std::size_t length = 0;
    const IOReturn result = plugIn_.getHubProperty(&context_, kReportInterval.id, reply.data(), reply.size(), &length);
    if (result != kIOReturnSuccess) {
      logFailure("result == 0 ", result, 917);
      return false;
    }
    const std::uint32_t interval = length == reply.size() ? load_le<std::uint32_t>(reply, 0) : 0;
    addNumber32(state_, "reportInterval", static_cast<std::int32_t>(interval));
    return true;
  }

  // The registry name of what the device belongs to.
  bool addSensorType() {
    HeldService parent;
    const kern_return_t result = IORegistryEntryGetParentEntry(context_.deviceService, kIOServicePlane, parent.out());
    if (result != kIOReturnSuccess) {
      logFailure("kr == 0 ", result, 921);
      return false;
    }
    io_name_t name = "";
    IORegistryEntryGetName(parent.get(), name);
    addString(state_, "sensorType", name);
    return true;
  }

  // The whole of a property, in which bytes that did not come are zero.
  SensorReply read(const HubProperty& property, Buffer& buffer) {
    buffer.fill(std::byte{0});
    plugIn_.getHubProperty(&context_, property.id, buffer.data(), property.length, nullptr);
    return std::span(buffer).first(property.length);
  }

  void addTexts(std::span<const TextRow> rows) {
    Buffer buffer;
    for (const TextRow& row : rows) {
      addString(state_, row.key, row.text(read(row.property, buffer)).data());
    }
  }

  void addNumbers(std::span<const NumberRow> rows) {
    for (const NumberRow& row : rows) {
      std::uint32_t value = 0;
      plugIn_.getHubPropertyU32(&context_, row.property.id, &value, UINT32_MAX);
      addNumber32(state_, row.key, static_cast<std::int32_t>(value));
    }
  }

  void addBatching() {
    Buffer buffer;
    SensorReply reply = read(kBatching, buffer);
    for (const char* key : kBatchingKeys) {
      addNumber32(state_, key, static_cast<std::int32_t>(load_le<std::uint32_t>(reply, 0)));
      reply = reply.subspan(sizeof(std::uint32_t));
    }
  }

  // The entries are counted through all streams.
  void addDiagnostics() {
    unsigned entry = 0;
    for (const HubProperty& stream : kDiagnosticStreams) {
      Buffer buffer{};
      std::size_t length = 0;
      if (plugIn_.getHubProperty(&context_, stream.id, buffer.data(), stream.length, &length) != kIOReturnSuccess) {
        continue;
      }
      readDiagnosticStream(std::span(buffer).first(std::min(length, stream.length)), [&](const char* text) {
        addString(state_, FormattedText<32>("extra%d", entry).get(), text);
        ++entry;
      });
    }
  }

  bool addClients() {
    std::array<std::byte, kClientTableLength> table{};
    std::size_t length = table.size();
    if (plugIn_.performCommand(&context_, kClientTableCommand, nullptr, 0, table.data(), &length) != kIOReturnSuccess) {
      return false;
    }
    const std::size_t count = std::min(length, table.size()) / kClientLength;
    for (std::size_t index = 0; index < count; ++index) {
      const SensorReply client = std::span(table).subspan(index * kClientLength, kClientLength);
      if (client[kClientInUseAt] != std::byte{0}) {
        addString(state_, FormattedText<32>("client%d", static_cast<int>(index)).get(), clientText(client).data());
      }
    }
    return true;
  }

  VantuHUBHIDStatistics& plugIn_;
  ServiceContext& context_;
  CFMutableDictionaryRef state_;
};

os_state_data_t VantuHUBHIDStatistics::stateHandler_SensorInfo(os_state_hints_t, ServiceContext* context) {
  const auto state = createStateDictionary(kExpectedEntries);
  if (state.get() == nullptr) {
    logAssertion({.expression = "state", .line = 914});
    return nullptr;
  }
  return SensorDescription(*this, *context, state.get()).collect() ? copyStateData(state.get(), "SensorInfo") : nullptr;
}
