// SPDX-License-Identifier: Apache-2.0
#include "profile/catalogue.h"

#include <iterator>

#include "profile/core_payloads.h"
#include "profile/cumulus_decoder.h"
#include "profile/execution_decoder.h"
#include "profile/haptics_decoder.h"
#include "profile/interrupt_decoder.h"
#include "profile/scm_decoder.h"
#include "profile/sensor_decoder.h"
#include "profile/sphere_decoder.h"
#include "profile/sshb_decoder.h"
#include "profile/trace_decoder.h"
#include "profile/uart_decoder.h"
#include "profile/wake_decoder.h"

namespace hub::profile {
namespace {

// clang-format off

constexpr ComponentNames kExecutionEvents[] = {
    {0, &execution::kEventTables[0]},
    {1, &execution::kEventTables[1]},
    {2, &execution::kEventTables[2]},
    {3, &execution::kEventTables[3]},
    {4, &execution::kEventTables[4]},
};
static_assert(std::size(kExecutionEvents) == std::size(execution::kEventTables));

constexpr ComponentNames kSensorEvents[]    = {{kAny, &sensor::kEvents}};
constexpr ComponentNames kSphereEvents[]    = {{kAny, &sphere::kEvents}};
constexpr ComponentNames kCumulusEvents[]   = {{kAny, &cumulus::kEvents}};
constexpr ComponentNames kInterruptEvents[] = {{kAny, &interrupt::kEvents}};
constexpr ComponentNames kUartEvents[]      = {{kAny, &uart::kEvents}};
constexpr ComponentNames kSshbEvents[]      = {{3, &sshb::kLatencyEvents}, {kAny, &sshb::kEvents}};
constexpr ComponentNames kWakeEvents[]      = {{kAny, &wake::kEvents}};
constexpr ComponentNames kHapticsEvents[]   = {{kAny, &haptics::kEvents}};

constexpr ComponentNames kSshbSubtypes[] = {
    {0, &sshb::kSubtypes},
    {1, &sshb::kSubtypes},
    {2, &sshb::kSubtypes},
    {3, &sshb::kLatencyEvents},
    {4, &sshb::kSubtypes},
};

constexpr ComponentNames kHapticsSubtypes[] = {
    {7, &haptics::kSubtypes},
    {8, &haptics::kSubtypes},
    {9, &haptics::kSubtypes},
};

constexpr const Layout* kLayoutRows[] = {
    &kLongData,
    &kShortData,
    &kEvent,
    &kTrigger,
    &kFunction,
    &kSensorInfo,
    &kExtFunction,
    &kAnnotation,
    &kDecimationInfo,
    &cumulus::kDataIn,
    &cumulus::kDataOut,
    &sshb::kTrace,
    &sshb::kStatusEvent,
    &sshb::kContext3,
    &sshb::kContext4,
    &sshb::kContext5,
    &sshb::kContext7,
    &wake::kRequest,
    &wake::kWakeEvent,
    &haptics::kTrace,
    &haptics::kAmpState,
    &haptics::kPlayRequest,
};

// clang-format on

// The choices stand in other files, so the rows are put together when the program starts.
const Category kCategoryRows[] = {
    {0, &execution::kComponents, kExecutionEvents, {}, {}},
    {1, &trace::kComponents, {}, {}, {}},
    {2, &sensor::kComponents, kSensorEvents, {}, {}},
    {3, &sphere::kComponents, kSphereEvents, {}, {}},
    {4, &cumulus::kComponents, kCumulusEvents, {}, cumulus::kLayoutChoices},
    {5, &interrupt::kComponents, kInterruptEvents, {}, {}},
    {6, &uart::kComponents, kUartEvents, {}, {}},
    {7, &sshb::kComponents, kSshbEvents, kSshbSubtypes, sshb::kLayoutChoices},
    {8, nullptr, {}, {}, {}},
    {9, &scm::kComponents, {}, {}, {}},
    {10, &wake::kComponents, kWakeEvents, {}, wake::kLayoutChoices},
    {11, &haptics::kComponents, kHapticsEvents, kHapticsSubtypes, haptics::kLayoutChoices},
    {12, nullptr, {}, {}, {}},
};

const Category* category_of(const _HubProfileReport& report) {
  return report.category_id < std::size(kCategoryRows) ? &kCategoryRows[report.category_id] : nullptr;
}

std::string name_among(std::span<const ComponentNames> rows, unsigned int component_id, unsigned int id) {
  for (const ComponentNames& row : rows) {
    if (row.component_id == kAny || static_cast<unsigned int>(row.component_id) == component_id) {
      return name_in(*row.names, id);
    }
  }
  return std::to_string(id);
}

}  // namespace

constinit const std::span<const Category> kCategories{kCategoryRows};
constinit const std::span<const Layout* const> kLayouts{kLayoutRows};

Rendering rendering_of(const _HubProfileReport& report) {
  const Category* category = category_of(report);
  return choose_layouts(category != nullptr ? category->layouts : std::span<const LayoutChoice>(), report);
}

std::string event_name_of(const _HubProfileReport& report) {
  const Category* category = category_of(report);
  return category != nullptr ? name_among(category->events, report.component_id, report.event_id)
                             : std::to_string(report.event_id);
}

std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype) {
  const Category* category = category_of(report);
  return category != nullptr ? name_among(category->subtypes, report.component_id, subtype) : std::to_string(subtype);
}

}  // namespace hub::profile
