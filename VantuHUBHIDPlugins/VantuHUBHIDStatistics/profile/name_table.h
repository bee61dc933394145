// SPDX-License-Identifier: Apache-2.0
// Name tables as the rooms write them: constant arrays of {id, text}, looked up by id.
#pragma once

#include <span>
#include <string>

#include "profile/profile_decoder.h"

namespace hub::profile {

using NameTable = std::span<const profile_decoder::entry>;

// The name of an id, or the id in decimal.
inline std::string name_in(NameTable table, unsigned int id) {
  return profile_decoder::find_in_table(table.data(), static_cast<unsigned int>(table.size()), id);
}

}  // namespace hub::profile
