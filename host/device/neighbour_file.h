// SPDX-License-Identifier: Apache-2.0
// The files that a device file takes bytes from: in its own folder or below.
#pragma once

#include <optional>

#include "host/device/json_place.h"
#include "host/device/replies.h"

namespace hub::host {

// The values by which a device file names a part of another file.
struct FilePart {
  std::optional<JsonPlace> file;
  std::optional<JsonPlace> offset;  // default: 0
  std::optional<JsonPlace> length;  // default: up to the file's end
};

// Appends the bytes of that part. The name is relative, without "..", and no link in it leads out of the folder; the
// part lies inside the file. Throws JsonError, and nothing has been appended: the name is none such, there is no
// regular file that can be read, or offset or length is out of range.
void append_file_part(const FilePart& part, Bytes& bytes);

}  // namespace hub::host
