// SPDX-License-Identifier: Apache-2.0
// A snapshot's title and contents, as text.
#pragma once

#include <string>

#include "host/session/snapshot_file.h"

namespace hub::host {

// For reading: the title, then the contents by two blanks further in for each level.
//
//   SensorInfo
//     name      accel
//     rate      100
//     timesync
//       hub       5000
//     reports
//       {  'category':'control', ... }
//       {  'category':'control', ... }
//
// Keys are aligned within their dictionary and stand in its order. What an array holds stands one a line; when there
// are arrays or dictionaries in it, its values are numbered, [0] and so on. Data is in hex, 16 bytes a line when it
// does not fit one. Numbers are exact: the shortest text that gives the same number again. What would upset a terminal
// is shown as \xNN.
std::string snapshot_text(const Snapshot& snapshot);

// For tools: one JSON object and a line end.
//
//   { "format": "hub-snapshot/1", "title": TEXT, "contents": VALUE }
//
// Booleans, numbers, texts, arrays and dictionaries are JSON's own; integers stand without a point, reals with one or
// with an exponent, so that both come back as they were. What JSON does not have is an object with one key: data
// { "data": "0aff" } in hex, and { "real": "inf" }, "-inf" or "nan". A title that is not UTF-8 has U+FFFD in it.
std::string snapshot_json(const Snapshot& snapshot);

}  // namespace hub::host
