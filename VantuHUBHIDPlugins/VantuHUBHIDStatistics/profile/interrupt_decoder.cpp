// SPDX-License-Identifier: Apache-2.0
#include "profile/interrupt_decoder.h"

#include <iterator>

namespace hub::profile::interrupt {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "gpio"},
};
static_assert(std::size(kComponentRows) == 1);

constexpr entry kEventRows[] = {
    {0, "latency"},
};
static_assert(std::size(kEventRows) == 1);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{5, &kComponents, kEventsByComponent, {}, {}};

}  // namespace hub::profile::interrupt

using namespace hub::profile;

std::string interrupt_decoder::component_name(unsigned int component) {
  return name_in(interrupt::kComponents, component);
}

std::string interrupt_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(interrupt::kEvents, event);
}
