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

constinit const NameTable kComponents{kComponentRows};
constinit const NameTable kEventTables[] = {
    kSchedulerRows,    // 0
    kFunctionRows,     // 1
    kWorkloopRows,     // 2
    kCommandRows,      // 3
    kExtFunctionRows,  // 4
};

}  // namespace hub::profile::execution

using namespace hub::profile;

std::string execution_decoder::component_name(unsigned int component) {
  return name_in(execution::kComponents, component);
}

std::string execution_decoder::event_name(unsigned int component, unsigned int event) {
  return component < std::size(execution::kEventTables) ? name_in(execution::kEventTables[component], event)
                                                        : std::to_string(event);
}
