// SPDX-License-Identifier: Apache-2.0
// How a string stands in memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

#include "corefoundation/byte_hash.h"
#include "corefoundation/object.h"
#include "corefoundation/utf8.h"

namespace hub::platform {
extern const ObjectClass kStringClass;
}

// The text's bytes and a final zero stand right behind the object.
struct __CFString : hub::platform::Object {
  __CFString(CFAllocatorRef owner, std::string_view text, const hub::platform::Utf8Text& examined)
      : Object(hub::platform::kStringClass, owner, 1),
        ascii(examined.ascii),
        length_bytes(text.size()),
        utf16_length(examined.utf16_length) {
    char* room = reinterpret_cast<char*>(this + 1);
    text.copy(room, text.size());
    room[text.size()] = '\0';
  }

  [[nodiscard]] const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }
  [[nodiscard]] std::string_view view() const { return {bytes(), length_bytes}; }

  // Computed once: keys are asked for theirs at each look-up. Two threads that do so at once find the same.
  [[nodiscard]] CFHashCode hash() const {
    CFHashCode known = known_hash.load(std::memory_order_relaxed);
    if (known == 0) {
      known = hub::platform::ByteHash::of(view());
      known_hash.store(known, std::memory_order_relaxed);
    }
    return known;
  }

  bool ascii;
  std::size_t length_bytes;
  std::size_t utf16_length;
  mutable std::atomic<CFHashCode> known_hash = 0;  // 0: not computed yet
};
