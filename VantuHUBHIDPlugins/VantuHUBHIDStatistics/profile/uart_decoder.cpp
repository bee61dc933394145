// SPDX-License-Identifier: Apache-2.0
#include "profile/uart_decoder.h"

#include <iterator>

namespace hub::profile::uart {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "uart0"},
    {1, "uart1"},
    {2, "uart2"},
};
static_assert(std::size(kComponentRows) == 3);

constexpr entry kEventRows[] = {
    {0, "preamble"},
    {1, "sw-handshake"},
    {2, "hw-handshake"},
    {3, "trace"},
    {4, "packet"},
    {5, "baseband"},
    {6, "transport"},
    {7, "neb-test"},
};
static_assert(std::size(kEventRows) == 8);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kEvents = name_table<kEventRows>;

namespace {

constexpr ComponentNames kEventsByComponent[] = {{kAny, &kEvents}};

}  // namespace

constinit const Category kCategory{6, &kComponents, kEventsByComponent, {}, {}};

}  // namespace hub::profile::uart

using namespace hub::profile;

std::string uart_decoder::component_name(unsigned int component) { return name_in(uart::kComponents, component); }

std::string uart_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return name_in(uart::kEvents, event);
}
