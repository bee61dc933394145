// SPDX-License-Identifier: Apache-2.0
#include "host/forms/line_buffer.h"

#include <utility>

namespace hub::host {

void LineBuffer::grow(std::size_t length) {
  LineBuffer longer(2 * size() + length);
  longer += view();
  *this = std::move(longer);
}

}  // namespace hub::host
