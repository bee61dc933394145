// SPDX-License-Identifier: Apache-2.0
// Keys and what is pending under each, found without making a string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace hub::platform {

// Entries stay where they are until they are trimmed. Firmware has few keys and names the same ones in batch after
// batch, so that an entry outlives the batch that made it.
template <typename State>
class KnownKeys {
 public:
  using Entry = std::pair<const std::string, State>;

  // The entry of a key, with a fresh state when the key is new.
  Entry& operator[](std::string_view key) {
    const auto found = entries_.find(key);
    return found != entries_.end() ? *found : make(key);
  }

  [[nodiscard]] std::size_t size_bytes() const { return size_bytes_; }

  // No state is pending any more: keys are kept only as long as they are few.
  void trim() {
    constexpr std::size_t kMostKeptBytes = std::size_t{64} * 1024;
    if (size_bytes_ > kMostKeptBytes) {
      entries_.clear();
      size_bytes_ = 0;
    }
  }

 private:
  // The library's hash takes longer over a key than all the rest of finding it. Here the products of its words, the
  // last of which may overlap the one before, do not wait for each other.
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const {
      if (key.size() < kWordBytes) {
        return std::hash<std::string_view>{}(key);
      }
      constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;  // odd, without a pattern in its bits
      const std::size_t last = key.size() - kWordBytes;
      std::uint64_t factor = kStep | 1U;
      std::uint64_t sum = key.size();
      for (std::size_t at = 0; at < last; at += kWordBytes) {
        sum += word(key, at) * factor;
        factor += 2 * kStep;  // odd again
      }
      sum += word(key, last) * factor;
      return sum ^ sum >> 32U;
    }

    static constexpr std::size_t kWordBytes = sizeof(std::uint64_t);

    static std::uint64_t word(std::string_view key, std::size_t at) {
      std::uint64_t bytes = 0;
      std::memcpy(&bytes, key.data() + at, kWordBytes);
      return bytes;
    }
  };

  Entry& make(std::string_view key) {
    size_bytes_ += sizeof(Entry) + key.size();
    return *entries_.emplace(key, State()).first;
  }

  std::unordered_map<std::string, State, Hash, std::equal_to<>> entries_;
  std::size_t size_bytes_ = 0;
};

}  // namespace hub::platform
