// SPDX-License-Identifier: Apache-2.0
// Regular expressions on texts that are usually UTF-8.
#pragma once

#include <re2/re2.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace hub::host {

// What is wrong with a pattern.
class PatternError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A pattern that is found anywhere in a text. In a text that is UTF-8 it counts characters. Where the text, or the
// pattern itself, is no UTF-8, both are taken byte by byte, each byte a character from U+0000 to U+00FF.
class FilterPattern {
 public:
  // Throws PatternError.
  explicit FilterPattern(const std::string& pattern);

  // Time is linear in the text. [any thread]
  [[nodiscard]] bool is_in(std::string_view text) const;

 private:
  std::optional<re2::RE2> characters_;  // none: the pattern is no UTF-8
  re2::RE2 bytes_;
};

}  // namespace hub::host
