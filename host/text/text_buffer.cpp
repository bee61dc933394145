// SPDX-License-Identifier: Apache-2.0
#include "host/text/text_buffer.h"

#include <utility>

namespace hub::host {

void TextBuffer::grow(std::size_t length) {
  TextBuffer longer(2 * size() + length);
  longer += view();
  *this = std::move(longer);
}

}  // namespace hub::host
