// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "host/text/utf8_text.h"
#include "profile/NEBLogDecoder.h"
#include "profile/catalogue.h"

namespace hub::host {
namespace {

using profile::Field;
using profile::Form;
using profile::Layout;

// Whether any byte of the payload is no ASCII character.
bool is_beyond_ascii(const _HubProfileReport& report) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::array<std::uint64_t, sizeof report.payload / sizeof(std::uint64_t)> words;
  std::memcpy(words.data(), report.payload, sizeof report.payload);
  return ((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0;
}

// A line is UTF-8 when the texts of its payload are: all else in it is ASCII.
bool has_utf8_texts(const _HubProfileReport& report) {
  const auto payload = profile::payload_of(report);
  const profile::Rendering rendering = profile::rendering_of(report);
  for (const Layout* layout : {rendering.first, rendering.second}) {
    for (const Field& field : layout != nullptr ? layout->fields : std::span<const Field>()) {
      if (field.kind.form != Form::kText) {
        continue;
      }
      const std::string_view text = profile::text_of(field, payload);
      if (utf8_prefix_bytes(text) != text.size()) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

bool TextFormat::append(const _HubProfileReport& report, TextBuffer& out) {
  if (is_beyond_ascii(report) && !has_utf8_texts(report)) {
    return false;
  }
  char* line = out.room(NEBLogDecoder::kLineRoom + 1);
  char* end = NEBLogDecoder::put_line(report, line);
  *end++ = '\n';
  out.advance_to(end);
  return true;
}

}  // namespace hub::host
