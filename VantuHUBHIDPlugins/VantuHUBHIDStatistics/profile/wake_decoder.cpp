// SPDX-License-Identifier: Apache-2.0
#include "profile/wake_decoder.h"

#include <iterator>

#include "profile/core_payloads.h"

namespace hub::profile::wake {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "wake"},
};
static_assert(std::size(kComponentRows) == 1);

constexpr entry kEventRows[] = {
    {0, "wake-req-stats"},
    {1, "wake-req-info"},
    {2, "wake-event-info"},
};
static_assert(std::size(kEventRows) == 3);

// Offsets from the payload's first byte, little-endian, unsigned.

// Not shown: 12-31.
constexpr Field kRequestRows[] = {
    // at  width  key             column
    {   0, u32,   "wake_reason",  10},
    {   4, u64,   "endpoint_ref", 10},
};
static_assert(fits(kRequestRows));

// Not shown: 8-31.
constexpr Field kWakeEventRows[] = {
    // at  width  key            column
    {   0, u32,   "wake_reason", 10},
    {   4, u32,   "service_id",  10},
};
static_assert(fits(kWakeEventRows));

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

constinit const Layout kRequest{"wake-request", kRequestRows};
constinit const Layout kWakeEvent{"wake-event", kWakeEventRows};

namespace {

// clang-format off

constexpr LayoutChoice kLayoutChoiceRows[] = {
    // component  event  type  version  layouts
    {   0,           1,  13,   kAny,    {&kRequest}},  // the type has no name
    {   0,           2,   3,   kAny,    {&kWakeEvent}},
};

// clang-format on

}  // namespace

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{10, &kComponents, kEventsByComponent, {}, kLayoutChoiceRows};

}  // namespace hub::profile::wake

using namespace hub::profile;

std::string wake_decoder::component_name(unsigned int component) { return name_in(wake::kComponents, component); }

std::string wake_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(wake::kEvents, event);
}

void wake_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  print_rendering(*stream.rdbuf(), choose_layouts(wake::kCategory.layouts, report), payload_of(report));
}
