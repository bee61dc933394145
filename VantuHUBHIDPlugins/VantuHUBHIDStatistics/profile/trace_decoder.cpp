// SPDX-License-Identifier: Apache-2.0
#include "profile/trace_decoder.h"

#include <iterator>

namespace hub::profile::trace {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "remoteq"},
    {1, "endpoint"},
    {2, "systick"},
    {3, "interrupt"},
};
static_assert(std::size(kComponentRows) == 4);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;

constinit const Category kCategory{1, &kComponents, {}, {}, {}};

}  // namespace hub::profile::trace

using namespace hub::profile;

std::string trace_decoder::component_name(unsigned int component) { return name_in(trace::kComponents, component); }

std::string trace_decoder::event_name(unsigned int /*component*/, unsigned int event) { return std::to_string(event); }
