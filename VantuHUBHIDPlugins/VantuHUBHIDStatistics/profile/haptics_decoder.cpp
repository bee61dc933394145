// SPDX-License-Identifier: Apache-2.0
#include "profile/haptics_decoder.h"

#include <iterator>

#include "profile/core_payloads.h"

namespace hub::profile::haptics {
namespace {

using entry = profile_decoder::entry;

// clang-format off

// Kept: the other components of this category have no name.
constexpr entry kComponentRows[] = {
    {5, "nebaudio"},

    {7, "haptics-manager"},
    {8, "hm-kext"},
    {9, "rtp-detent"},
};
static_assert(std::size(kComponentRows) == 4);

constexpr entry kEventRows[] = {
    {0, "trace"},
    {1, "amp-states-data"},
    {2, "play-request-data"},
};
static_assert(std::size(kEventRows) == 3);

// Trace points. In the firmware's order: 24 stands before 23, and there is no 22.
constexpr entry kSubtypeRows[] = {
    { 0, "SetMapping"},
    { 1, "PlayActionCommand"},
    { 2, "PlayAssetCommand"},
    { 3, "ProcessCommandError"},
    { 4, "EnqueueRequest"},
    { 5, "HandleAmpStateAction"},
    { 6, "AmpTimerStarted"},
    { 7, "AmpTimerStopped"},
    { 8, "AmpTimerFired"},
    { 9, "SetPowerState"},
    {10, "SetPowerStateError"},
    {11, "SetPowerStateComplete"},
    {12, "PlayHapticsAction"},
    {13, "RequestDropped"},
    {14, "PlayAssetBegin"},
    {15, "PlayAssetError"},
    {16, "PlayAssetComplete"},
    {17, "UserClientPlayAsset"},
    {18, "UserClientPlayAssetError"},
    {19, "KextPlayAssetGated"},
    {20, "KextPlayAssetGatedError"},
    {21, "RTPRawData"},
    {24, "RTPRawEvent"},
    {23, "RTPHapticsManagerRequestCmp"},
};
static_assert(std::size(kSubtypeRows) == 24);

// Offsets from the payload's first byte, little-endian, unsigned.

constexpr Field kTraceRows[] = {
    // at  width      key       column
    {   0, subtype32, "trace",  25},
    {   4, u32,       "thread", 10},
    {   8, u32,       "arg1",   10},
    {  12, u32,       "arg2",   10},
    {  16, u32,       "arg3",   10},
    {  20, u32,       "arg4",   10},
};
static_assert(fits(kTraceRows));

// Kept: the type of the amplifier comes last in the record and first in the line.
constexpr Field kAmpStateRows[] = {
    // at  width  key         column
    {  10, u32,   "ampType",  10},
    {   2, u32,   "state",    10},
    {   6, u32,   "refCount", 10},
};
static_assert(fits(kAmpStateRows));

constexpr Field kPlayRequestRows[] = {
    // at  width  key           column
    {   2, u32,   "ampType",    10},
    {  10, u32,   "index",      10},
    {  18, u32,   "presilence", 10},
    {  26, u32,   "gain",       10},
};
static_assert(fits(kPlayRequestRows));

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;
constinit const NameTable kSubtypes = name_table<kSubtypeRows>;

constinit const Layout kTrace{"haptics-trace", kTraceRows};
constinit const Layout kAmpState{"haptics-amp-state", kAmpStateRows};
constinit const Layout kPlayRequest{"haptics-play-request", kPlayRequestRows};

namespace {

// clang-format off

// Components 5 and 6, the audio side, report in the common layouts alone.
constexpr LayoutChoice kLayoutChoiceRows[] = {
    // component  event  type  version  layouts
    {   5,        kAny,   3,   kAny,    {&kEvent}},
    {   6,        kAny,   3,   kAny,    {&kEvent}},
    {   5,        kAny,   2,   kAny,    {&kShortData}},
    {   6,        kAny,   2,   kAny,    {&kShortData}},
    {kAny,        kAny,   3,   kAny,    {&kTrace}},
    {kAny,           1,   2,   kAny,    {&kAmpState}},
    {kAny,           2,   2,   kAny,    {&kPlayRequest}},
};

// clang-format on

}  // namespace

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

constexpr ComponentNames kSubtypesByComponent[] = {
    {7, &kSubtypes},  // haptics-manager
    {8, &kSubtypes},  // hm-kext
    {9, &kSubtypes},  // rtp-detent
};

}  // namespace

constinit const Category kCategory{11, &kComponents, kEventsByComponent, kSubtypesByComponent, kLayoutChoiceRows};

}  // namespace hub::profile::haptics

using namespace hub::profile;

std::string haptics_decoder::component_name(unsigned int component) { return name_in(haptics::kComponents, component); }

std::string haptics_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(haptics::kEvents, event);
}

std::string haptics_decoder::subtype_name(unsigned int component, unsigned int subtype) {
  return name_or_number(hub::profile::subtype_name(haptics::kCategory, component, subtype), subtype);
}

void haptics_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  print_rendering(*stream.rdbuf(), choose_layouts(haptics::kCategory.layouts, report), payload_of(report),
                  [this, &report](std::uint32_t subtype) { return subtype_name(report.component_id, subtype); });
}
