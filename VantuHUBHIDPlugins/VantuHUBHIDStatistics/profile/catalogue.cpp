// SPDX-License-Identifier: Apache-2.0
#include "profile/catalogue.h"

#include "profile/core_payloads.h"
#include "profile/cumulus_decoder.h"
#include "profile/haptics_decoder.h"
#include "profile/sshb_decoder.h"
#include "profile/wake_decoder.h"

namespace hub::profile {
namespace {

// clang-format off

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

}  // namespace

constinit const std::span<const Layout* const> kLayouts{kLayoutRows};

Rendering rendering_of(const _HubProfileReport& report) { return choose_layouts(category_of(report).layouts, report); }

std::string event_name_of(const _HubProfileReport& report) {
  return name_or_number(event_name(category_of(report), report.component_id, report.event_id), report.event_id);
}

std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype) {
  return name_or_number(subtype_name(category_of(report), report.component_id, subtype), subtype);
}

}  // namespace hub::profile
