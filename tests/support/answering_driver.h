// SPDX-License-Identifier: Apache-2.0
// A service's driver for tests of the plug-in: answers properties and commands by their numbers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "IOKit/IOReturn.h"
#include "tests/support/recording_kernel.h"

namespace hub::test {

// What is written, as far as there is room, and what is said of it.
struct Reply {
  std::string bytes;
  IOReturn status = kIOReturnSuccess;
  std::size_t surplus = 0;  // the reported length is so much more than what was written
};

// reply(330) is 330 zeros; the members fill in the rest, little-endian.
class ReplyBuilder {
 public:
  ReplyBuilder(std::size_t length, char fill) : bytes_(length, fill) {}

  ReplyBuilder& u8(std::size_t at, std::int64_t value) { return little_endian(at, value, 1); }
  ReplyBuilder& u16(std::size_t at, std::int64_t value) { return little_endian(at, value, 2); }
  ReplyBuilder& u32(std::size_t at, std::int64_t value) { return little_endian(at, value, 4); }
  ReplyBuilder& u64(std::size_t at, std::int64_t value) { return little_endian(at, value, 8); }
  ReplyBuilder& text(std::size_t at, std::string_view characters) {
    bytes_.replace(at, characters.size(), characters);
    return *this;
  }

  [[nodiscard]] const std::string& bytes() const { return bytes_; }
  operator Reply() const { return {bytes_}; }  // NOLINT(google-explicit-constructor)

 private:
  ReplyBuilder& little_endian(std::size_t at, std::int64_t value, std::size_t width_bytes) {
    for (std::size_t index = 0; index < width_bytes; ++index) {
      bytes_[at + index] = static_cast<char>(value >> (8 * index));
    }
    return *this;
  }

  std::string bytes_;
};

inline ReplyBuilder reply(std::size_t length, char fill = '\0') { return {length, fill}; }

// One 32-bit number.
inline Reply number_reply(std::int64_t value) { return reply(4).u32(0, value); }

// What it was not told to answer is unsupported.
class AnsweringDriver {
 public:
  std::map<std::uint32_t, Reply> properties;
  std::map<std::uint32_t, Reply> commands;
  Story story;  // "property 15 room 32"

  IOReturn answer(std::uint32_t command, std::span<const std::byte> input, std::span<std::byte> output,
                  std::size_t& length) {
    if (command != kReadProperty) {
      return answer("command ", command, commands, output, length);
    }
    std::uint32_t property = 0;
    std::memcpy(&property, input.data(), sizeof property);
    return answer("property ", property, properties, output, length);
  }

 private:
  static constexpr std::uint32_t kReadProperty = 10;

  IOReturn answer(const char* kind, std::uint32_t number, const std::map<std::uint32_t, Reply>& replies,
                  std::span<std::byte> output, std::size_t& length) {
    story.push_back(kind + std::to_string(number) + " room " + std::to_string(output.size()));
    const auto found = replies.find(number);
    if (found == replies.end()) {
      return kIOReturnUnsupported;
    }
    const Reply& its_reply = found->second;
    const std::size_t written = std::min(output.size(), its_reply.bytes.size());
    std::copy_n(std::as_bytes(std::span(its_reply.bytes)).begin(), written, output.begin());
    length = written + its_reply.surplus;
    return its_reply.status;
  }
};

}  // namespace hub::test
