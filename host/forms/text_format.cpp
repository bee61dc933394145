// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "host/text/utf8_text.h"
#include "profile/line_text.h"

namespace hub::host {
namespace {

using profile::Field;
using profile::Form;
using profile::Layout;

bool is_utf8(std::string_view text) { return utf8_prefix_bytes(text) == text.size(); }

// Whether any byte of the payload is no ASCII character.
bool is_beyond_ascii(const _HubProfileReport& report) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::array<std::uint64_t, sizeof report.payload / sizeof(std::uint64_t)> words;
  std::memcpy(words.data(), report.payload, sizeof report.payload);
  return ((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0;
}

bool has_utf8_texts(const Layout* layout, const _HubProfileReport& report) {
  return layout == nullptr || !layout->has_text ||
         std::all_of(layout->fields.begin(), layout->fields.end(), [&report](const Field& field) {
           return field.kind.form != Form::kText || is_utf8(profile::text_of(field, profile::payload_of(report)));
         });
}

// A line is UTF-8 when the texts of its payload are: all else in it is ASCII.
bool is_utf8_line(const profile::Rendering& rendering, const _HubProfileReport& report) {
  return !is_beyond_ascii(report) ||
         (has_utf8_texts(rendering.first, report) && has_utf8_texts(rendering.second, report));
}

}  // namespace

bool TextFormat::append(const _HubProfileReport& report, TextBuffer& out) {
  const profile::Category& category = profile::category_of(report);
  const profile::Rendering rendering = profile::choose_layouts(category.layouts, report);
  if (!is_utf8_line(rendering, report)) {
    return false;
  }
  char* end = profile::put_line(out.room(profile::kLineRoom + 1), report, category, rendering);
  *end++ = '\n';
  out.advance_to(end);
  return true;
}

}  // namespace hub::host
