// SPDX-License-Identifier: Apache-2.0
// How much the tests of this folder go through, and how they tell it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace hub::test {

// True when the environment has HUB_EXHAUST=all: everything. Otherwise the part of it that suits every build.
inline bool everything() {
  const char* asked = std::getenv("HUB_EXHAUST");
  return asked != nullptr && std::string_view(asked) == "all";
}

// One line of figures: "exhaust: headers: 12845056 lines, 0 wrong".
inline void tell(const std::string& what, std::uint64_t tried, const char* of_what, std::uint64_t wrong) {
  std::printf("exhaust: %s: %llu %s, %llu wrong\n", what.c_str(), static_cast<unsigned long long>(tried), of_what,
              static_cast<unsigned long long>(wrong));
}

}  // namespace hub::test
