// SPDX-License-Identifier: Apache-2.0
#include "profile/digits.h"

namespace hub::profile {

char* put_long_decimal(char* out, std::uint64_t number, std::size_t length) {
  out = put_decimal(out, number / kWordLimit, length - kWordDigits);
  return put_last_digits(out, decimal_word(static_cast<std::uint32_t>(number % kWordLimit)), kWordDigits);
}

}  // namespace hub::profile
