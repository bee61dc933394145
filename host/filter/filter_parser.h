// SPDX-License-Identifier: Apache-2.0
// The grammar of a filter.
//
//   any        = all { "||" all }
//   all        = one { "&&" one }
//   one        = "!" one | "(" any ")" | comparison
//   comparison = FIELD OPERATOR VALUE | FIELD "in" "(" VALUE { "," VALUE } ")"
//   OPERATOR   = "==" "!=" "<" "<=" ">" ">=" "=~"
//   VALUE      = NUMBER | TEXT | WORD
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "host/filter/filter_comparison.h"

namespace hub::host {

// What an expression is made of. Parts of the same kind are not nested.
struct FilterTree {
  enum class Kind : std::uint8_t { kComparison, kAll, kAny };
  Kind kind = Kind::kComparison;
  bool is_negated = false;
  std::size_t comparison = 0;     // kComparison: which one
  std::vector<FilterTree> parts;  // kAll, kAny: two or more
};

struct ParsedFilter {
  FilterTree tree;  // at most kDeepestFilter parentheses deep
  std::vector<Comparison> comparisons;
};

// How long an expression may be, how deep parentheses may stand in each other, how often =~ may occur.
inline constexpr std::size_t kLongestFilterBytes = 65536;
inline constexpr std::size_t kDeepestFilter = 200;
inline constexpr std::size_t kMostFilterPatterns = 100;

// Throws FilterError.
ParsedFilter parse_filter(std::string_view expression);

}  // namespace hub::host
