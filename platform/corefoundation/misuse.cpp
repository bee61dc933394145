// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/misuse.h"

#include <cstdio>
#include <cstdlib>

namespace hub::platform {

void misuse(const char* function, const char* what) {
  std::fprintf(stderr, "platform: %s: %s\n", function, what);
  std::abort();
}

}  // namespace hub::platform
