// SPDX-License-Identifier: Apache-2.0
// What a ledger holds, as text.
#pragma once

#include <string>

#include "ledger/ledger_contents.h"

namespace hub::host {

// For reading: a table of the scalars and one of the distributions, by key; a line says so when there are none. Numbers
// are exact: the shortest text that gives the same number again. What would upset a terminal in a key is shown as \xNN.
std::string ledger_text(const platform::LedgerContents& contents);

// For tools: one JSON object and a line end.
//   { "format": "hub-ledger/1",
//     "scalars": { KEY: INTEGER, ... },
//     "distributions": { KEY: { "count": INTEGER, "min": NUMBER, "mean": NUMBER, "max": NUMBER }, ... } }
std::string ledger_json(const platform::LedgerContents& contents);

}  // namespace hub::host
