// SPDX-License-Identifier: Apache-2.0
// Raw debug data: the profile reports that the firmware and its driver have buffered, decoded to lines.
#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "VantuHUBHIDStatistics.h"
#include "hub_ids.h"
#include "profile/profile_exports.h"
#include "state_frame.h"

namespace {

// Where reports come from, and what titles call it.
enum class Source { kFirmware, kDriver };
struct RawDebugKind {
  std::uint32_t kind;
  const char* name;
  Source source;
  std::uint32_t method;  // of the profile driver
};
constexpr RawDebugKind kKinds[] = {
    {1, "fw", Source::kFirmware, 0},
    {2, "kext", Source::kDriver, kDriverReportsMethod},
    {3, "err", Source::kDriver, kErrorReportsMethod},
};

const RawDebugKind* kindOf(std::uint32_t number) {
  const auto* row = std::find_if(std::begin(kKinds), std::end(kKinds),
                                 [number](const RawDebugKind& candidate) { return candidate.kind == number; });
  return row != std::end(kKinds) ? row : nullptr;
}

// A line for each report that has one.
OwnedObject<CFMutableArrayRef> createLines(std::span<const _HubProfileReport> reports) {
  OwnedObject lines(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  if (lines.get() == nullptr) {
    return lines;
  }
  for (const _HubProfileReport& report : reports) {
    const OwnedObject line(CopyProfileDescription(&report));
    if (line.get() != nullptr) {
      CFArrayAppendValue(lines.get(), line.get());
    }
  }
  return lines;
}

}  // namespace

IOReturn VantuHUBHIDStatistics::readFirmwareReports(std::uint32_t parameter, void* buffer, std::size_t* length) {
  const IOReturn prepared = performHubCommand(kFirmwareProfileService, kPrepareProfileCommand, &parameter,
                                              sizeof parameter, nullptr, nullptr);
  return prepared == kIOReturnSuccess
             ? getHubProperty(kFirmwareProfileService, kProfileReportsProperty, buffer, *length, length)
             : prepared;
}

os_state_data_t VantuHUBHIDStatistics::stateHandler_RawDebugData(os_state_hints_t, ServiceContext*, std::uint32_t index,
                                                                 std::uint32_t batchSize, std::uint32_t kind,
                                                                 std::uint32_t parameter) {
  const RawDebugKind* row = kindOf(kind);
  if (row == nullptr || batchSize == 0) {
    return nullptr;
  }
  const std::unique_ptr<_HubProfileReport[]> reports(new (std::nothrow) _HubProfileReport[batchSize]());
  if (reports == nullptr) {
    return nullptr;
  }
  const std::size_t size = batchSize * sizeof(_HubProfileReport);
  std::size_t length = size;
  const IOReturn result = row->source == Source::kFirmware
                              ? readFirmwareReports(parameter, reports.get(), &length)
                              : performCommand(kProfileDriverService, row->method, nullptr, 0, reports.get(), &length);
  const std::size_t count = std::min(length, size) / sizeof(_HubProfileReport);
  if (result != kIOReturnSuccess || count == 0) {
    return nullptr;
  }
  const auto lines = createLines({reports.get(), count});
  const FormattedText<64> title("NEB Profile %u ;count=%lu ;type=%s", index, static_cast<unsigned long>(count),
                                row->name);
  return lines.get() != nullptr ? copyStateData(lines.get(), title.get()) : nullptr;
}
