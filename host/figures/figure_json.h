// SPDX-License-Identifier: Apache-2.0
// The parts that JSON about captures is made of.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/figures/capture_summary.h"

namespace hub::host {

using FigureJson = nlohmann::ordered_json;

// A number, or null where it is not known.
template <typename Number>
FigureJson known_or_null(const std::optional<Number>& number) {
  return number ? FigureJson(*number) : FigureJson(nullptr);
}

// {"category_id": 7, "category": "sshb", ...} as far as the level goes.
FigureJson group_json(GroupKey key, Level level);

// {"layout": "function", "function_id": 17}, or {"layout": "extfunction", "function": "hub_boot"}; a name that is no
// UTF-8 has its bytes besides, {"function_bytes": "ff62"}.
FigureJson function_json(const FunctionKey& key);

// The text of a whole document, with a line end.
std::string document_text(const FigureJson& document);

}  // namespace hub::host
