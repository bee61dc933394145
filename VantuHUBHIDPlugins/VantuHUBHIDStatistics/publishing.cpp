// SPDX-License-Identifier: Apache-2.0
// Operation records to calls of the statistics service.
#include "publishing.h"

#include <iterator>

#include "StatLedger/StatLedger.h"
#include "VantuHUBHIDStatistics.h"
#include "little_endian.h"
#include "plugin_log.h"

namespace {

constexpr std::uint8_t kVersion = 0x43;

// One record's fields.
struct Operation {
  explicit Operation(const LedgerOp& record)
      : version(load_le<std::uint8_t>(record.bytes, 0)),
        op(load_le<std::uint8_t>(record.bytes, 1)),
        key(load_le<std::uint8_t>(record.bytes, 2)),
        value(static_cast<std::int32_t>(load_le<std::uint32_t>(record.bytes, 3))) {}

  // The value as a sample, in the precision that the firmware's own tools compute it.
  [[nodiscard]] double sample() const { return static_cast<double>(static_cast<float>(value) * 0x1p-16F); }

  std::uint8_t version;
  std::uint8_t op;
  std::uint8_t key;
  std::int32_t value;
};

using Publish = void (*)(CFStringRef key, const Operation& operation);

// The calls of op 0 to 5.
constexpr Publish kPublish[] = {
    [](CFStringRef, const Operation&) {},
    [](CFStringRef key, const Operation&) { SLClientClearScalarKey(key); },
    [](CFStringRef key, const Operation& operation) { SLClientSetValueForScalarKey(key, operation.value); },
    [](CFStringRef key, const Operation& operation) { SLClientAddValueForScalarKey(key, operation.value); },
    [](CFStringRef key, const Operation&) { SLClientClearDistributionKey(key); },
    [](CFStringRef key, const Operation& operation) { SLClientSetValueForDistributionKey(key, operation.sample()); },
};

// From 6 on the firmware reports a run of identical samples: so many more than this.
constexpr std::uint8_t kRunBase = 5;
static_assert(std::size(kPublish) == kRunBase + 1);

void publish(CFStringRef key, const Operation& operation) {
  if (operation.op <= kRunBase) {
    kPublish[operation.op](key, operation);
    return;
  }
  for (int run = operation.op - kRunBase; run > 0; --run) {
    SLClientPushValueForDistributionKey(key, operation.sample());
  }
}

bool logsErrors() { return os_log_type_enabled(pluginLog(), OS_LOG_TYPE_ERROR); }

}  // namespace

CFStringRef VantuHUBHIDStatistics::keyForIndex(StatLedgerKey index) {
  return index < kStatLedgerKeyCount ? keys_[index] : unknownStatLedgerKey();
}

void VantuHUBHIDStatistics::publishSLData(const LedgerOp* records, std::uint64_t count) {
  for (std::uint64_t index = 0; index < count; ++index) {
    const Operation operation(records[index]);
    if (operation.version != kVersion) {
      if (logsErrors()) {
        os_log_error(pluginLog(), "%s hubsldkeys version mismatch (%#x/%#x)", "publishSLData", operation.version,
                     kVersion);
      }
      continue;
    }
    const CFStringRef key = keyForIndex(StatLedgerKey{operation.key});
    if (logsErrors()) {  // Kept: each record that is published is told, at error level
      os_log_error(pluginLog(), "%s op=%#x '%@' (%#x)", "publishSLData", operation.op, key, operation.key);
    }
    publish(key, operation);
  }
}

void VantuHUBHIDStatistics::publishSLData(void* context, void* buffer, std::uint64_t count) {
  static_cast<VantuHUBHIDStatistics*>(context)->publishSLData(static_cast<const LedgerOp*>(buffer), count);
}
