// SPDX-License-Identifier: Apache-2.0
// What stands in a sensor's snapshot, made into a property list by the plug-in's own functions and by another library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace hub::bench {

struct SnapshotEntry {
  std::string key;
  std::variant<std::int64_t, std::string> value;
};

using Bytes = std::vector<std::byte>;

// The entries of a snapshot's property list, in its order. Throws std::runtime_error when it holds anything else than
// numbers and texts.
std::vector<SnapshotEntry> entries_of(const Bytes& property_list);

// One snapshot as the plug-in makes it of values that are at hand: a dictionary filled by its entry helpers, and the
// record with its property list. Returns the property list's length; stores its bytes when they are asked for.
std::size_t make_snapshot(const std::vector<SnapshotEntry>& entries, Bytes* bytes = nullptr);

// The same dictionary, made and written by libplist.
std::size_t make_snapshot_by_libplist(const std::vector<SnapshotEntry>& entries, Bytes* bytes = nullptr);

}  // namespace hub::bench
