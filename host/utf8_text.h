// SPDX-License-Identifier: Apache-2.0
// Whether bytes from outside are text.
#pragma once

#include <cstddef>
#include <string_view>

namespace hub::host {

// How many of the leading bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF, nothing
// cut off. The text's size when all are. [any thread]
std::size_t utf8_prefix_bytes(std::string_view text);

}  // namespace hub::host
