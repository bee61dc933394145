// SPDX-License-Identifier: Apache-2.0
#include "profile/sshb_decoder.h"

#include <iterator>

#include "profile/core_payloads.h"

namespace hub::profile::sshb {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "sshb"},
    {1, "vossa"},
    {2, "amp"},
    {3, "latency"},
    {4, "quarl"},
    {5, "nebaudio"},
    {6, "nebvoicetrigger"},
};
static_assert(std::size(kComponentRows) == 7);

constexpr entry kLatencyEventRows[] = {
    {0, "ckp_SSHBFingerON"},
    {1, "ckp_SSHBFingerOFF"},
    {2, "ckp_SSHBButtonDown"},
    {3, "ckp_SSHBButtonUp"},
    {4, "ckp_ARCTurnOn"},
    {5, "ckp_VossaStartHaptics"},
    {6, "ckp_ARCReady"},
    {7, "ckp_VossaPlayAsset"},
};
static_assert(std::size(kLatencyEventRows) == 8);

constexpr entry kEventRows[] = {
    { 0, "trace"},
    { 1, "context"},
    { 2, "input-packet"},
    { 3, "status-event"},

    {16, "trigger-fingeron"},
    {17, "trigger-fingeroff"},
    {18, "trigger-clickon"},
    {19, "trigger-clickoff"},
};
static_assert(std::size(kEventRows) == 8);

// Offsets from the payload's first byte, little-endian, unsigned, packed without regard to alignment.

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

// Not shown: 0-1, 6-9, 16, 21-31.
constexpr Field kStatusEventRows[] = {
    // at  width  key                     column
    {   2, u32,   "status-timestamp",     10},
    {  10, u8,    "fingerState",          10},
    {  11, u8,    "buttonState",          10},
    {  12, u32,   "buttonProgress",       10},
    {  17, u8,    "clickCount",           10},
    {  18, u8,    "clickCountIsTerminal", 10},
    {  19, u8,    "clickIsLong",          10},
    {  20, u8,    "clickSpeed",           10},
};
static_assert(fits(kStatusEventRows));
static_assert(std::size(kStatusEventRows) == 8);

// The context is a snapshot of the controller. Its first field says which layout it has: 3 and 5 are scan and button state,
// 4 and 7 amplifier and clock state.

constexpr Field kContext3Rows[] = {
    // at  width  key
    {   0, u16,   "context-version"},
    {   2, u8,    "currentContext0"},
    {   3, u8,    "currentContext1"},
    {   4, u8,    "ampsEnabled"},
    {   5, u8,    "enabled"},
    {   6, u32,   "mode"},
    {  10, u32,   "scan_time"},
    {  14, u32,   "active_scan_interval"},
    {  18, u32,   "background_scan_interval"},
    {  22, u8,    "fingerDetect"},
    {  23, u8,    "buttonState"},
    {  24, u8,    "pressCount"},
    {  25, u8,    "longPress"},
    {  26, u8,    "terminalEvent"},
    {  27, u8,    "speed"},
    {  28, u8,    "stage"},
};
static_assert(fits(kContext3Rows));
static_assert(std::size(kContext3Rows) == 16);

constexpr Field kContext5Rows[] = {
    // at  width  key
    {   0, u16,   "context-version"},
    {   2, u8,    "currentContext0"},
    {   3, u8,    "currentContext1"},
    {   4, u8,    "ampsEnabled"},
    {   5, u8,    "enabled"},
    {   6, u32,   "scan_period"},
    {  10, u32,   "scan_time"},
    {  14, u8,    "fingerDetect"},
    {  15, u8,    "buttonState"},
    {  16, u8,    "pressCount"},
    {  17, u8,    "longPress"},
    {  18, u8,    "terminalEvent"},
    {  19, u8,    "speed"},
    {  20, u8,    "stage"},
};
static_assert(fits(kContext5Rows));
static_assert(std::size(kContext5Rows) == 14);

constexpr Field kContext4Rows[] = {
    // at  width  key
    {   0, u16,   "context-version"},
    {   2, u8,    "mclk_neb_enabled"},
    {   3, u8,    "mclk_ap_enabled"},
    {   4, u8,    "vossa_neb_enabled"},
    {   5, u8,    "vossa_ap_enabled"},
    {   6, u8,    "vossaBusy"},
    {   7, u8,    "enableARC"},
    {   8, u8,    "enableSpkr"},
    {   9, u8,    "mclk_on"},
    {  10, u8,    "vossa_on"},
    {  11, u8,    "vossaPending"},
    {  12, u8,    "ampsEnabling"},
    {  13, u8,    "quarl_ready"},
    {  14, u8,    "ampsPrewarming"},
    {  15, u8,    "ampsDisabling"},
    {  16, u8,    "ampsPending"},
    {  17, u8,    "clickState"},
    {  18, u8,    "clickSpeed"},
    {  19, u8,    "test_mode"},
    {  20, u8,    "cl_enable"},
    {  21, u8,    "cl_neb_enable"},
    {  22, u8,    "cl_ap_enable"},
    {  23, u8,    "vossa_ready"},
    {  24, u8,    "apState0"},
    {  25, u8,    "apState1"},
    {  26, u8,    "nebState0"},
    {  27, u8,    "nebState1"},
    {  28, u8,    "state0"},
    {  29, u8,    "state1"},
};
static_assert(fits(kContext4Rows));
static_assert(std::size(kContext4Rows) == 29);

constexpr Field kContext7Rows[] = {
    // at  width  key
    {   0, u16,   "context-version"},
    {   2, u8,    "mclk_neb_enabled"},
    {   3, u8,    "mclk_ap_enabled"},
    {   4, u8,    "vossa_neb_enabled"},
    {   5, u8,    "vossa_ap_enabled"},
    {   6, u8,    "vossaBusy"},
    {   7, u8,    "enableARC"},
    {   8, u8,    "enableSpkr"},
    {   9, u8,    "mclk_on"},
    {  10, u8,    "vossa_on"},
    {  11, u8,    "vossaPending"},
    {  12, u8,    "quarl_ready"},
    {  13, u8,    "ampsState"},
    {  14, u8,    "clickState"},
    {  15, u8,    "clickSpeed"},
    {  16, u8,    "test_mode"},
    {  17, u8,    "cl_enable"},
    {  18, u8,    "cl_neb_enable"},
    {  19, u8,    "cl_ap_enable"},
    {  20, u8,    "vossa_ready"},
    {  21, u8,    "apState0"},
    {  22, u8,    "apState1"},
    {  23, u8,    "nebState0"},
    {  24, u8,    "nebState1"},
    {  25, u8,    "state0"},
    {  26, u8,    "state1"},
};
static_assert(fits(kContext7Rows));
static_assert(std::size(kContext7Rows) == 26);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kLatencyEvents = name_table<kLatencyEventRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

constinit const Layout kTrace{"sshb-trace", kTraceRows};
constinit const Layout kStatusEvent{"sshb-status-event", kStatusEventRows};
constinit const Layout kContext3{"sshb-context-3", kContext3Rows};
constinit const Layout kContext4{"sshb-context-4", kContext4Rows};
constinit const Layout kContext5{"sshb-context-5", kContext5Rows};
constinit const Layout kContext7{"sshb-context-7", kContext7Rows};

namespace {

// clang-format off

// Kept: short data that is neither a status event nor an input packet shows its common items twice.
constexpr LayoutChoice kLayoutChoiceRows[] = {
    // component  event  type  version  layouts
    {kAny,        kAny,   3,   kAny,    {&kTrace, &kEvent}},
    {kAny,           2,   2,   kAny,    {&kShortData}},               // input-packet
    {kAny,           3,   2,   kAny,    {&kStatusEvent, &kShortData}},
    {kAny,        kAny,   2,   kAny,    {&kShortData, &kShortData}},
    {kAny,        kAny,  10,   3,       {&kContext3}},
    {kAny,        kAny,  10,   4,       {&kContext4}},
    {kAny,        kAny,  10,   5,       {&kContext5}},
    {kAny,        kAny,  10,   7,       {&kContext7}},
};

// clang-format on

}  // namespace

namespace {

constexpr ComponentNames kEventsByComponent[] = {
    {3, &kLatencyEvents},
    {kAny, &kEvents},
};

// Latency trace points are named like the events of their component.
constexpr ComponentNames kSubtypesByComponent[] = {
    {0, &kSubtypes},       // sshb
    {1, &kSubtypes},       // vossa
    {2, &kSubtypes},       // amp
    {3, &kLatencyEvents},  // latency
    {4, &kSubtypes},       // quarl
};

}  // namespace

constinit const Category kCategory{7, &kComponents, kEventsByComponent, kSubtypesByComponent, kLayoutChoiceRows};

}  // namespace hub::profile::sshb

using namespace hub::profile;

std::string sshb_decoder::component_name(unsigned int component) { return name_in(sshb::kComponents, component); }

std::string sshb_decoder::event_name(unsigned int component, unsigned int event) {
  return name_or_number(hub::profile::event_name(sshb::kCategory, component, event), event);
}

std::string sshb_decoder::subtype_name(unsigned int component, unsigned int subtype) {
  constexpr unsigned int kLatencyComponent = 3;
  return component == kLatencyComponent
             ? event_name(component, subtype)
             : name_or_number(hub::profile::subtype_name(sshb::kCategory, component, subtype), subtype);
}

void sshb_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  print_rendering(*stream.rdbuf(), choose_layouts(sshb::kCategory.layouts, report), payload_of(report),
                  [this, &report](std::uint32_t subtype) { return subtype_name(report.component_id, subtype); });
}
