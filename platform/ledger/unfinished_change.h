// SPDX-License-Identifier: Apache-2.0
// A change of a database's file that was broken off: what was there before stands in a journal beside it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hub::platform {

// Whether a change of the file was broken off (or is being made) that is not in the log: readers have to wait until one
// who may write has taken it back.
bool has_unfinished_change(const std::string& location);

// The application id that the database has once the change is taken back, and 0 when nothing is left of it then: after
// a power failure the file's own first page may be nonsense. Nothing when the journal does not tell.
std::optional<std::int64_t> identity_before_change(const std::string& location);

}  // namespace hub::platform
