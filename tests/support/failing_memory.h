// SPDX-License-Identifier: Apache-2.0
// Memory that a test can take away from the code that is linked into its program: malloc and new[] without exceptions
// give nothing. What shared libraries ask for is theirs.
#pragma once

namespace hub::test {

// There is no memory, on any thread, as long as one of these lives. At most one does.
class NoMemory {
 public:
  NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
  ~NoMemory();
};

}  // namespace hub::test
