// SPDX-License-Identifier: Apache-2.0
// What serves until the very end of the process.
#pragma once

#include <cstddef>
#include <new>

namespace hub::platform {

// A T in static memory, made when its owner is and never destroyed: it needs no memory of the heap to be there, and
// whoever comes while the process ends still finds it. For static variables in functions.
template <typename T>
class NeverDestroyed {
 public:
  NeverDestroyed() { ::new (memory_) T; }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;
  ~NeverDestroyed() = default;

  T& get() { return *std::launder(reinterpret_cast<T*>(memory_)); }

 private:
  alignas(T) std::byte memory_[sizeof(T)];
};

}  // namespace hub::platform
