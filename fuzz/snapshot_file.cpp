// SPDX-License-Identifier: Apache-2.0
// Any bytes are a snapshot or an error. A snapshot has a text that no terminal minds, and valid JSON.
#include "host/session/snapshot_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

#include "host/session/snapshot_text.h"

namespace {

using namespace hub::host;

void require(bool holds, const char* promise, const std::string& text) {
  if (!holds) {
    std::fprintf(stderr, "%s: %s\n", promise, text.c_str());
    std::abort();
  }
}

bool is_control(char character) {
  return character != '\n' && (static_cast<std::uint8_t>(character) < ' ' || character == '\x7F');
}

void check(const Snapshot& snapshot) {
  const std::string text = snapshot_text(snapshot);
  require(std::none_of(text.begin(), text.end(), is_control), "a text has no control characters", text);
  require(text.ends_with('\n') && text.find("\n\n") == std::string::npos, "a text is whole lines", text);
  const std::string json = snapshot_json(snapshot);
  const auto parsed = nlohmann::json::parse(json, nullptr, false);
  require(!parsed.is_discarded() && parsed["format"] == "hub-snapshot/1", "the JSON is valid", json);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    check(read_snapshot(std::as_bytes(std::span(data, size)), "FILE"));
  } catch (const SnapshotError& error) {
    require(std::string_view(error.what()).starts_with("FILE: offset "), "an error names file and place", error.what());
  }
  return 0;
}
