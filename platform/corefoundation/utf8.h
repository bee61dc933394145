// SPDX-License-Identifier: Apache-2.0
// Strict UTF-8: what may stand in a string.
#pragma once

#include <cstddef>
#include <string_view>

namespace hub::platform {

struct Utf8Text {
  bool valid;                // no overlong form, no surrogate, nothing above U+10FFFF, nothing cut off
  bool ascii;                // valid, and every byte below 0x80
  std::size_t utf16_length;  // UTF-16 units of the text; 0 when it is not valid
};

// Reads the whole text once. [any thread]
Utf8Text examine_utf8(std::string_view text);

}  // namespace hub::platform
