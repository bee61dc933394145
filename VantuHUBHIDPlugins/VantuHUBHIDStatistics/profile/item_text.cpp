// SPDX-License-Identifier: Apache-2.0
#include "profile/item_text.h"

#include <charconv>

namespace hub::profile {

char* put_real_item(char* out, const ItemKey& key, double value, std::size_t column) {
  constexpr int kSignificantDigits = 6;
  std::array<char, 24> digits;
  const char* end =
      std::to_chars(digits.begin(), digits.end(), value, std::chars_format::general, kSignificantDigits).ptr;
  const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  out = put_text(put_blanks(key.put(out), text.size(), column), text);
  *out++ = ',';
  return out;
}

char* put_byte_list_item(char* out, const ItemKey& key, std::span<const std::byte> bytes, std::size_t column) {
  char* list = key.put(out);
  out = put_byte_list(list, bytes);
  const auto length = static_cast<std::size_t>(out - list);
  if (length < column) {
    std::memmove(list + (column - length), list, length);
    std::memset(list, ' ', column - length);
    out = list + column;
  }
  *out++ = ',';
  return out;
}

}  // namespace hub::profile
