// SPDX-License-Identifier: Apache-2.0
// Memory of constants: on the device they are in the program already, so that using one for the first time cannot fail.
#pragma once

#include <cstddef>
#include <new>

namespace hub::platform {

// Memory that is never given back, for any type. When the heap has none it comes from what is set aside for that; NULL
// when that is used up, too, after some hundreds of constants. [any thread]
void* constant_memory(std::size_t length_bytes);

// The same for the containers that constants are found in. Without memory it gives std::bad_alloc.
template <typename T>
struct ConstantAllocator {
  using value_type = T;

  ConstantAllocator() = default;
  template <typename Other>
  ConstantAllocator(const ConstantAllocator<Other>&) {}

  T* allocate(std::size_t count) {
    void* memory = constant_memory(count * sizeof(T));
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
  }
  void deallocate(T*, std::size_t) {}

  template <typename Other>
  bool operator==(const ConstantAllocator<Other>&) const {
    return true;
  }
};

}  // namespace hub::platform
