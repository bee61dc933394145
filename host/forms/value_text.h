// SPDX-License-Identifier: Apache-2.0
// Texts and names in output that programs read, escaped as they must be. All are appended. [any thread]
#pragma once

#include <cstdint>
#include <string_view>

#include "host/forms/number_text.h"
#include "host/text/text_buffer.h"

namespace hub::host {

// What the bytes of a text mean for those that write it.
enum TextTraits : std::uint8_t {
  kPlainText = 0,
  kHasJsonEscape = 1,    // one that a JSON string may escape; all that are not ASCII are among them
  kHasBlank = 2,         // " "
  kHasCsvDelimiter = 4,  // one for which a cell of CSV stands in quotes: comma, quote, CR, LF
};

// The traits of all its bytes together.
std::uint8_t traits_of(std::string_view text);

// A JSON string, quotes included. Quotes, backslashes, control characters (U+0000 to U+001F, U+007F to U+009F) and line
// separators (U+2028, U+2029) are escaped; a byte that belongs to no character is the replacement character. False when
// there is such a byte.
bool append_json_string(TextBuffer& out, std::string_view text);

// The name, or the number in decimal where the name is empty. Names are constants of ours, words that need no escapes
// and no quotes in any form.
inline void append_name(TextBuffer& out, std::string_view name, std::uint64_t number) {
  if (name.empty()) {
    append_decimal(out, number);
  } else {
    out += name;
  }
}

// The same as a JSON string.
void append_json_name(TextBuffer& out, std::string_view name, std::uint64_t number);

}  // namespace hub::host
