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

std::string_view view_of(const Name* name) { return name != nullptr ? name->view() : std::string_view(); }

}  // namespace

constinit const std::span<const Layout* const> kLayouts{kLayoutRows};

Rendering rendering_of(const _HubProfileReport& report) { return choose_layouts(category_of(report).layouts, report); }

std::string_view known_category_name(const _HubProfileReport& report) {
  return view_of(kCategoryNames.find(report.category_id));
}

std::string_view known_component_name(const _HubProfileReport& report) {
  return view_of(component_name(category_of(report), report.component_id));
}

std::string_view known_event_name(const _HubProfileReport& report) {
  return view_of(event_name(category_of(report), report.component_id, report.event_id));
}

std::string_view known_type_name(const _HubProfileReport& report) { return view_of(kTypeNames.find(report.type_id)); }

std::string_view known_subtype_name(const _HubProfileReport& report, std::uint32_t subtype) {
  return view_of(subtype_name(category_of(report), report.component_id, subtype));
}

std::string event_name_of(const _HubProfileReport& report) {
  return name_or_number(event_name(category_of(report), report.component_id, report.event_id), report.event_id);
}

std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype) {
  return name_or_number(subtype_name(category_of(report), report.component_id, subtype), subtype);
}

}  // namespace hub::profile
