// SPDX-License-Identifier: Apache-2.0
#include "profile/core_payloads.h"

#include <array>
#include <iterator>

namespace hub::profile {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kCategoryRows[] = {
    { 0, "exec"},
    { 1, "trace"},
    { 2, "sensor"},
    { 3, "sphere"},
    { 4, "cumulus"},
    { 5, "interrupt"},
    { 6, "uart"},
    { 7, "sshb"},
    { 8, "control"},
    { 9, "scm"},
    {10, "wake"},
    {11, "haptics"},
    {12, "cm"},
};
static_assert(std::size(kCategoryRows) == 13);

constexpr entry kTypeRows[] = {
    { 0, "stop"},
    { 1, "long-data"},
    { 2, "short-data"},
    { 3, "event"},
    { 4, "trigger"},
    { 5, "function"},
    { 6, "sshb-context1"},
    { 7, "sshb-context2"},
    { 8, "sensorinfo"},
    { 9, "extfunction"},
    {10, "sshb-context"},
    {11, "annotation"},
    {12, "decimationinfo"},
};
static_assert(std::size(kTypeRows) == 13);

// In all tables below: offsets from the payload's first byte, little-endian, unsigned; rows stand in print order. The units
// of intervals, durations and thresholds are the firmware's own; they are shown as they come.

// Raw data in packets: as much of it as the length says, and never more than a report carries.
constexpr std::uint8_t kLongDataLengthAt = 4;

constexpr Field kLongDataRows[] = {
    //              at  width      key             column
    {                0, u16,       "subtype",      10},
    {                2, u16,       "packet-size",  10},
    {kLongDataLengthAt, u16,       "data-length",  10},
    {                6, u16,       "data-offset",  10},
    {                8, bytes(24), "raw-data",     10, kLongDataLengthAt},
};
static_assert(fits(kLongDataRows));

// Raw data without sizes: they are always these, and shown so that the line has the items of long data.
constexpr Field kShortDataRows[] = {
    // at  width         key             column
    {   0, u16,          "subtype",      10},
    {   0, constant(30), "packet-size",  10},
    {   0, constant(30), "data-length",  10},
    {   0, constant(0),  "data-offset",  10},
    {   2, bytes(30),    "raw-data",     10},
};
static_assert(fits(kShortDataRows));

// Six arguments, in decimal and again in hexadecimal.
constexpr Field kEventRows[] = {
    // at  width  key      column
    {   0, u32,   "arg1",  10},
    {   4, u32,   "arg2",  10},
    {   8, u32,   "arg3",  10},
    {  12, u32,   "arg4",  10},
    {  16, u32,   "arg5",  10},
    {  20, u32,   "arg6",  10},
    {   0, hex32, "xarg1", 10},
    {   4, hex32, "xarg2", 10},
    {   8, hex32, "xarg3", 10},
    {  12, hex32, "xarg4", 10},
    {  16, hex32, "xarg5", 10},
    {  20, hex32, "xarg6", 10},
};
static_assert(fits(kEventRows));

// Kept: the thread stands under two keys.
constexpr Field kTriggerRows[] = {
    // at  width        key          column
    {   0, constant(1), "trigger",   0},
    {   4, u32,         "thread-id", 10},
    {   4, u32,         "arg",       10},
};
static_assert(fits(kTriggerRows));

constexpr Field kFunctionRows[] = {
    // at  width  key                column
    {   0, u32,   "function-id",     10},
    {   4, u32,   "extra-id",        10},
    {   8, u32,   "thread-id",       10},
    {  12, u32,   "duration",        10},
    {  16, u32,   "depth",           10},
    {  20, u32,   "thread_duration", 10},
};
static_assert(fits(kFunctionRows));

constexpr Field kSensorInfoRows[] = {
    // at  width     key                column
    {  19, text(12), "name",            16},
    {   0, u32,      "report-interval", 10},
    {   4, u32,      "batch-interval",  10},
    {   8, u32,      "threshold",       10},
    {  12, u32,      "time-limit",      10},
    {  16, u8,       "connected",       10},
    {  17, u8,       "decimation",      10},
    {  18, u8,       "gyroPowerMode",   10},
};
static_assert(fits(kSensorInfoRows));

constexpr Field kExtFunctionRows[] = {
    // at  width     key         column
    {  16, text(16), "function", 10},
    {  12, u32,      "arg",      10},
    {   0, u32,      "task",     10},
    {   4, u32,      "thread",   10},
    {   8, u32,      "duration", 10},
};
static_assert(fits(kExtFunctionRows));

// The entry's eight bytes are a number and a text at once.
constexpr Field kAnnotationRows[] = {
    // at  width    key          column
    {   0, u64,     "global-id", 10},
    {   8, u64,     "entry-id",  10},
    {   8, text(8), "entry",     10},
    {  16, u32,     "arg1",      10},
    {  20, u32,     "arg2",      10},
};
static_assert(fits(kAnnotationRows));

constexpr Field kDecimationInfoRows[] = {
    // at  width     key                column
    {  20, text(12), "name",            16},
    {   8, u32,      "sample-interval", 10},
    {  12, u32,      "report-interval", 10},
    {  16, u32,      "batch-interval",  10},
    {   0, u64,      "next-dispatch",   10},
};
static_assert(fits(kDecimationInfoRows));

// By type id; types without a layout have no items.
constexpr auto kTypeLayouts = std::to_array<const Layout*>({
    nullptr,           //  0
    &kLongData,        //  1
    &kShortData,       //  2
    &kEvent,           //  3
    &kTrigger,         //  4
    &kFunction,        //  5
    nullptr,           //  6
    nullptr,           //  7
    &kSensorInfo,      //  8
    &kExtFunction,     //  9
    nullptr,           // 10
    &kAnnotation,      // 11
    &kDecimationInfo,  // 12
});

// clang-format on

}  // namespace

constinit const NameTable kCategoryNames = name_table<kCategoryRows>;
constinit const NameTable kTypeNames = name_table<kTypeRows>;

constinit const Layout kLongData{"long-data", kLongDataRows};
constinit const Layout kShortData{"short-data", kShortDataRows};
constinit const Layout kEvent{"event", kEventRows};
constinit const Layout kTrigger{"trigger", kTriggerRows};
constinit const Layout kFunction{"function", kFunctionRows};
constinit const Layout kSensorInfo{"sensorinfo", kSensorInfoRows};
constinit const Layout kExtFunction{"extfunction", kExtFunctionRows};
constinit const Layout kAnnotation{"annotation", kAnnotationRows};
constinit const Layout kDecimationInfo{"decimationinfo", kDecimationInfoRows};

const Layout* core_layout(unsigned int type_id) {
  return type_id < std::size(kTypeLayouts) ? kTypeLayouts[type_id] : nullptr;
}

}  // namespace hub::profile
