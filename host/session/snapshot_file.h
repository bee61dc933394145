// SPDX-License-Identifier: Apache-2.0
// Snapshots as they were captured: the platform's records, one a file.
#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>

#include "propertylist/property_list_reader.h"

namespace hub::host {

struct Snapshot {
  std::string title;  // as it stands, whether it is UTF-8 or not
  platform::PropertyListValue contents;
};

// Its text: the file, the offset from the file's first byte on, what is there and what was expected.
class SnapshotError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A record, little-endian:
//
//   at  bytes
//    0      4   type: 1, a property list
//    4      4   the data's size in bytes
//    8     64   decoder library, not looked at
//   72     64   decoder type, not looked at
//  136     64   title, up to the first zero
//  200          data: a binary property list, to the end
//
// `file` names it in errors. Anything else is a SnapshotError. [any thread]
Snapshot read_snapshot(std::span<const std::byte> record, const std::string& file);

// The same of a file, which is read no further than its head says. One that cannot be read is a SnapshotError with the
// system's reason.
Snapshot read_snapshot_file(const std::string& file);

}  // namespace hub::host
