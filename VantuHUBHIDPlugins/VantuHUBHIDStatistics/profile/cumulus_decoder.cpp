// SPDX-License-Identifier: Apache-2.0
#include "profile/cumulus_decoder.h"

#include <iterator>

#include "profile/core_payloads.h"

namespace hub::profile::cumulus {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "cumulus"},
};
static_assert(std::size(kComponentRows) == 1);

constexpr entry kEventRows[] = {
    {0, "data-in"},
    {1, "data-out"},
};
static_assert(std::size(kEventRows) == 2);

// Both layouts: offsets from the payload's first byte, little-endian; the arguments unsigned, the vector the first three of
// them as signed fixed point. Not shown: 24-31.

constexpr Field kDataInRows[] = {
    // at  width       key     column
    {   0, u32,        "arg1", 10},
    {   4, u32,        "arg2", 10},
    {   8, u32,        "arg3", 10},
    {  12, u32,        "arg4", 10},
    {  16, u32,        "arg5", 10},
    {  20, u32,        "arg6", 10},
    {   0, fixed16_16, "x",    10},
    {   4, fixed16_16, "y",    10},
    {   8, fixed16_16, "z",    10},
};
static_assert(fits(kDataInRows));

constexpr Field kDataOutRows[] = {
    // at  width       key     column
    {   0, u32,        "arg1", 10},
    {   4, u32,        "arg2", 10},
    {   8, u32,        "arg3", 10},
    {  12, u32,        "arg4", 10},
    {  16, u32,        "arg5", 10},
    {  20, u32,        "arg6", 10},
    {   0, fixed20_12, "x",    10},
    {   4, fixed20_12, "y",    10},
    {   8, fixed20_12, "z",    10},
};
static_assert(fits(kDataOutRows));

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

constinit const Layout kDataIn{"cumulus-data-in", kDataInRows};
constinit const Layout kDataOut{"cumulus-data-out", kDataOutRows};

namespace {

// clang-format off

// Kept: what goes in is followed by the common items of its type, what comes out is not.
constexpr LayoutChoice kLayoutChoiceRows[] = {
    // component  event  type  version  layouts
    {   0,           0,   3,   kAny,    {&kDataIn, &kEvent}},
    {   0,           1,   3,   kAny,    {&kDataOut}},
};

// clang-format on

}  // namespace

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{4, &kComponents, kEventsByComponent, {}, kLayoutChoiceRows};

}  // namespace hub::profile::cumulus

using namespace hub::profile;

std::string cumulus_decoder::component_name(unsigned int component) { return name_in(cumulus::kComponents, component); }

std::string cumulus_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(cumulus::kEvents, event);
}

void cumulus_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  print_rendering(*stream.rdbuf(), choose_layouts(cumulus::kCategory.layouts, report), payload_of(report));
}
