// SPDX-License-Identifier: Apache-2.0
#include "profile/sensor_decoder.h"

#include <iterator>

namespace hub::profile::sensor {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "accel"},
    {1, "gyro"},
    {2, "compass"},
    {3, "pressure"},
    {4, "helium"},
    {5, "als"},
    {6, "temperature"},
};
static_assert(std::size(kComponentRows) == 7);

constexpr entry kEventRows[] = {
    { 0, "latency"},
    { 1, "rawdata"},
    { 2, "data"},
    { 3, "filtdata"},
    { 4, "apdata"},
    { 5, "regwrite"},
    { 6, "regread"},
    { 7, "update"},
    { 8, "filter-state"},
    { 9, "sensor-info"},
    {10, "annotation"},

    {16, "trigger-magnitude"},
    {17, "trigger-latency"},
};
static_assert(std::size(kEventRows) == 13);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{2, &kComponents, kEventsByComponent, {}, {}};

}  // namespace hub::profile::sensor

using namespace hub::profile;

std::string sensor_decoder::component_name(unsigned int component) { return name_in(sensor::kComponents, component); }

std::string sensor_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(sensor::kEvents, event);
}
