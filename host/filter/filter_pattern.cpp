// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_pattern.h"

#include "host/text/printable_text.h"
#include "host/text/utf8_text.h"

namespace hub::host {
namespace {

bool is_utf8(std::string_view text) { return utf8_prefix_bytes(text) == text.size(); }

re2::RE2::Options options(re2::RE2::Options::Encoding encoding) {
  re2::RE2::Options options;
  options.set_encoding(encoding);
  options.set_log_errors(false);
  options.set_never_capture(true);
  return options;
}

void refuse_what_is_no_pattern(const re2::RE2& compiled) {
  if (!compiled.ok()) {
    throw PatternError(printable(compiled.error()));
  }
}

}  // namespace

FilterPattern::FilterPattern(const std::string& pattern) : bytes_(pattern, options(re2::RE2::Options::EncodingLatin1)) {
  if (is_utf8(pattern)) {
    characters_.emplace(pattern, options(re2::RE2::Options::EncodingUTF8));
    refuse_what_is_no_pattern(*characters_);
  }
  refuse_what_is_no_pattern(bytes_);
}

bool FilterPattern::is_in(std::string_view text) const {
  const re2::RE2& pattern = characters_ && is_utf8(text) ? *characters_ : bytes_;
  return pattern.Match({text.data(), text.size()}, 0, text.size(), re2::RE2::UNANCHORED, nullptr, 0);
}

}  // namespace hub::host
