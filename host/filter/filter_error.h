// SPDX-License-Identifier: Apache-2.0
// What is wrong with a filter's text, and where.
#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace hub::host {

// Three lines without a line end behind the last: what is wrong and what was expected; the expression; a caret under
// the place.
//
//   unknown field "duratoin"; did you mean "duration"?
//     event == 3 && duratoin > 5
//                   ^
//
// Of a long expression the part around the place is shown, with "..." where it is cut. Control characters, and bytes
// that are no UTF-8, are shown as \xNN.
class FilterError : public std::runtime_error {
 public:
  // `at` is the place's offset in bytes, at most the expression's size.
  FilterError(const std::string& problem, std::string_view expression, std::size_t at);
};

// A text for a message, in double quotes; the middle of a long one is left out.
std::string quoted_briefly(std::string_view text);

// "; did you mean A, B or C?" with those that are near to the unknown name, or nothing when none is.
std::string did_you_mean(std::string_view unknown, std::span<const std::string> known);

}  // namespace hub::host
