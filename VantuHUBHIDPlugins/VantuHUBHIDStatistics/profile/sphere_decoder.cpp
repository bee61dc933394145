// SPDX-License-Identifier: Apache-2.0
#include "profile/sphere_decoder.h"

#include <iterator>

namespace hub::profile::sphere {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "sphere"},
};
static_assert(std::size(kComponentRows) == 1);

constexpr entry kEventRows[] = {
    { 0, "latency"},
    { 1, "monitor"},

    {17, "trigger-latency"},
};
static_assert(std::size(kEventRows) == 3);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{3, &kComponents, kEventsByComponent, {}, {}};

}  // namespace hub::profile::sphere

using namespace hub::profile;

std::string sphere_decoder::component_name(unsigned int component) { return name_in(sphere::kComponents, component); }

std::string sphere_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(sphere::kEvents, event);
}
