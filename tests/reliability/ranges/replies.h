// SPDX-License-Identifier: Apache-2.0
// Replies of every length to one read, and what the buffer of the read holds afterwards.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/answering_driver.h"

namespace hub::test {

// What a read has: its buffer, of which bytes that did not come are zero, and the length that was said to have come.
struct Came {
  std::string buffer;
  std::size_t length;

  [[nodiscard]] std::int64_t i8(std::size_t at) const { return static_cast<std::int8_t>(buffer[at]); }
  [[nodiscard]] std::int64_t i32(std::size_t at) const { return static_cast<std::int32_t>(unsigned_number(at, 4)); }
  [[nodiscard]] std::int64_t i64(std::size_t at) const { return static_cast<std::int64_t>(unsigned_number(at, 8)); }
  [[nodiscard]] std::uint32_t u16(std::size_t at) const { return static_cast<std::uint32_t>(unsigned_number(at, 2)); }
  [[nodiscard]] std::uint32_t u32(std::size_t at) const { return static_cast<std::uint32_t>(unsigned_number(at, 4)); }

  // Up to its zero, or its end.
  [[nodiscard]] std::string text(std::size_t at, std::size_t most) const {
    const std::string whole = buffer.substr(at, most);
    return whole.substr(0, whole.find('\0'));
  }

  // So much of it as may be looked at.
  [[nodiscard]] std::size_t usable() const { return std::min(length, buffer.size()); }

 private:
  [[nodiscard]] std::uint64_t unsigned_number(std::size_t at, std::size_t width_bytes) const {
    std::uint64_t value = 0;
    for (std::size_t index = width_bytes; index > 0; --index) {
      value = value * 256 + static_cast<std::uint8_t>(buffer[at + index - 1]);
    }
    return value;
  }
};

enum class Manner {
  kHonest,  // writes what it says, as far as there is room
  kSilent,  // writes nothing, and says so much
  kModest,  // fills all the room, and says so much
};
inline constexpr Manner kManners[] = {Manner::kHonest, Manner::kSilent, Manner::kModest};

// The reply, and what it leaves in a buffer of this size.
struct ReplyCase {
  ReplyCase(Manner manner, const std::string& content, std::size_t length) {
    const std::size_t room = content.size();
    const std::size_t written = manner == Manner::kHonest   ? std::min(length, room)
                                : manner == Manner::kSilent ? 0
                                                            : room;
    reply.bytes = content.substr(0, written);
    reply.surplus = length - written;  // wraps around where less is said than written
    came = {reply.bytes + std::string(room - written, '\0'), length};
  }

  Reply reply;
  Came came;
};

// Every length from 0 to 64 past the buffer, and two that no buffer has.
inline std::vector<std::size_t> every_length(std::size_t room) {
  std::vector<std::size_t> lengths;
  for (std::size_t length = 0; length <= room + 64; ++length) {
    lengths.push_back(length);
  }
  lengths.insert(lengths.end(), {room + 0x1'0000'0000, SIZE_MAX});
  return lengths;
}

// ---- What stands in replies.

inline std::string letters(std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    bytes += static_cast<char>('A' + bytes.size() % 26);
  }
  return bytes;
}

inline std::string ones(std::size_t size) { return std::string(size, '\xFF'); }

// All bytes in turn, beginning with 1.
inline std::string counting(std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    bytes += static_cast<char>(bytes.size() + 1);
  }
  return bytes;
}

// A piece again and again.
inline std::string repeated(const std::string& piece, std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    bytes += piece;
  }
  return bytes.substr(0, size);
}

}  // namespace hub::test
