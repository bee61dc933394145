// SPDX-License-Identifier: Apache-2.0
#include "profile/execution_decoder.h"

#include <iterator>

namespace hub::profile::execution {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "scheduler"},
    {1, "function"},
    {2, "workloop"},
    {3, "command"},
    {4, "extfunction"},
    {5, "timing"},
};
static_assert(std::size(kComponentRows) == 6);

constexpr entry kSchedulerRows[] = {
    {0, "context-switch"},
    {1, "prevent-nap"},
    {2, "thread-state"},
};
static_assert(std::size(kSchedulerRows) == 3);

constexpr entry kFunctionRows[] = {
    {0, "function"},
};
static_assert(std::size(kFunctionRows) == 1);

constexpr entry kWorkloopRows[] = {
    {0, "action"},
    {1, "signal"},
};
static_assert(std::size(kWorkloopRows) == 2);

constexpr entry kCommandRows[] = {
    {0, "start"},
    {1, "finalize"},
    {2, "new-packet"},
    {3, "receive"},
    {4, "timeout"},
    {5, "live-report"},
    {6, "hist-report"},
    {7, "user-report"},
};
static_assert(std::size(kCommandRows) == 8);

constexpr entry kExtFunctionRows[] = {
    {0, "extfunction"},
};
static_assert(std::size(kExtFunctionRows) == 1);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;
constinit const NameTable kSchedulerEvents = name_table<kSchedulerRows>;
constinit const NameTable kFunctionEvents = name_table<kFunctionRows>;
constinit const NameTable kWorkloopEvents = name_table<kWorkloopRows>;
constinit const NameTable kCommandEvents = name_table<kCommandRows>;
constinit const NameTable kExtFunctionEvents = name_table<kExtFunctionRows>;

namespace {

constexpr ComponentNames kEventRows[] = {
    {0, &kSchedulerEvents}, {1, &kFunctionEvents},    {2, &kWorkloopEvents},
    {3, &kCommandEvents},   {4, &kExtFunctionEvents},
};

}  // namespace

constinit const Category kCategory{0, &kComponents, kEventRows, {}, {}};

}  // namespace hub::profile::execution

using namespace hub::profile;

std::string execution_decoder::component_name(unsigned int component) {
  return name_in(execution::kComponents, component);
}

std::string execution_decoder::event_name(unsigned int component, unsigned int event) {
  return name_or_number(hub::profile::event_name(execution::kCategory, component, event), event);
}
