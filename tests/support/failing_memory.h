// SPDX-License-Identifier: Apache-2.0
// Memory that a test can take away. At most one of these lives at a time; what there is before and after it is whole.
#pragma once

namespace hub::test {

// From the code that is linked into its program, on any thread: malloc and new[] without exceptions give nothing, and a
// value of a thread cannot be noted. What shared libraries ask for is theirs.
class NoMemory {
 public:
  NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
  ~NoMemory();
};

// From all of the process, shared libraries too, on any thread: new throws or, without exceptions, gives nothing. There
// is memory by malloc, from which the platform makes its objects.
class NoMemoryByNew {
 public:
  NoMemoryByNew();
  NoMemoryByNew(const NoMemoryByNew&) = delete;
  NoMemoryByNew& operator=(const NoMemoryByNew&) = delete;
  ~NoMemoryByNew();
};

}  // namespace hub::test
