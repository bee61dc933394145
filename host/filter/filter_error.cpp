// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_error.h"

#include <algorithm>
#include <vector>

#include "host/records/record_fields.h"
#include "host/text/printable_text.h"

namespace hub::host {
namespace {

constexpr std::string_view kIndent = "  ";
constexpr std::string_view kCut = "...";
constexpr std::size_t kShownBytesOnEachSide = 36;

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

// The last bytes of a text, so many at most, beginning with a whole character.
std::string_view tail(std::string_view text, std::size_t most_bytes) {
  std::string_view kept = text.substr(text.size() - std::min(text.size(), most_bytes));
  while (kept.size() < text.size() && !kept.empty() && continues_character(kept.front())) {
    kept.remove_prefix(1);
  }
  return kept;
}

// The first bytes of a text, so many at most, ending with a whole character.
std::string_view head(std::string_view text, std::size_t most_bytes) {
  std::size_t size = std::min(text.size(), most_bytes);
  while (size > 0 && size < text.size() && continues_character(text[size])) {
    --size;
  }
  return text.substr(0, size);
}

std::string message(const std::string& problem, std::string_view expression, std::size_t at) {
  const std::string_view before = expression.substr(0, at);
  const std::string_view behind = expression.substr(at);
  const std::string_view shown_before = tail(before, kShownBytesOnEachSide);
  const std::string_view shown_behind = head(behind, kShownBytesOnEachSide);
  std::string left(kIndent);
  left += shown_before.size() < before.size() ? kCut : "";
  left += printable(shown_before);
  std::string right = printable(shown_behind);
  right += shown_behind.size() < behind.size() ? kCut : "";
  return problem + "\n" + left + right + "\n" + std::string(width_of(left), ' ') + "^";
}

}  // namespace

FilterError::FilterError(const std::string& problem, std::string_view expression, std::size_t at)
    : std::runtime_error(message(problem, expression, at)) {}

std::string quoted_briefly(std::string_view text) {
  constexpr std::size_t kMostBytes = 48;
  constexpr std::size_t kEndBytes = 20;
  if (text.size() <= kMostBytes) {
    return "\"" + printable(text) + "\"";
  }
  return "\"" + printable(head(text, kEndBytes)) + std::string(kCut) + printable(tail(text, kEndBytes)) + "\"";
}

std::string did_you_mean(std::string_view unknown, std::span<const std::string> known) {
  constexpr std::size_t kLongestName = 64;  // a longer one is not worth comparing
  if (unknown.size() > kLongestName) {
    return {};
  }
  const std::vector<std::string> nearest = nearest_names(unknown, known);
  std::string question;
  for (std::size_t index = 0; index < nearest.size(); ++index) {
    const bool is_last = index + 1 == nearest.size();
    question += index == 0 ? "; did you mean " : is_last ? " or " : ", ";
    question += "\"" + nearest[index] + "\"";
  }
  return question.empty() ? question : question + "?";
}

}  // namespace hub::host
