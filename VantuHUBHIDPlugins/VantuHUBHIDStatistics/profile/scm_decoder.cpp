// SPDX-License-Identifier: Apache-2.0
#include "profile/scm_decoder.h"

#include <iterator>

namespace hub::profile::scm {
namespace {

using entry = profile_decoder::entry;

// clang-format off

constexpr entry kComponentRows[] = {
    {0, "spi0"},
    {1, "smb0"},
    {2, "smb1"},
    {3, "i2cm0"},
    {4, "i2c_ctrl0"},
    {5, "i2c_ctrl1"},
};
static_assert(std::size(kComponentRows) == 6);

// clang-format on

}  // namespace

constinit const NameTable kComponents = name_table<kComponentRows>;

constinit const Category kCategory{9, &kComponents, {}, {}, {}};

}  // namespace hub::profile::scm

using namespace hub::profile;

std::string scm_decoder::component_name(unsigned int component) { return name_in(scm::kComponents, component); }

std::string scm_decoder::event_name(unsigned int /*component*/, unsigned int event) { return std::to_string(event); }
