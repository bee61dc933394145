// SPDX-License-Identifier: Apache-2.0
// Where bytes come from, for readers that need not know whether it is one file or several.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace hub::host {

// How bytes follow those before them.
enum class ByteOrigin : std::uint8_t {
  kSame,        // they go on
  kNextFile,    // they begin another file, which has taken the name
  kCutFile,     // they begin the same file again, which has become shorter
  kNextWriter,  // they are from another writer of the pipe; those before have closed it
};

struct ReadBytes {
  std::size_t length_bytes = 0;
  ByteOrigin origin = ByteOrigin::kSame;
};

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Reads what is there, at most the room given, all of one origin. Waits for a byte; none: the end. Throws
  // std::system_error when the source cannot be read.
  virtual ReadBytes read_some(std::span<std::byte> room) = 0;

  // Whether read_some() would have to wait at this moment. May be true when it would not.
  virtual bool would_wait() = 0;

 protected:
  ByteSource() = default;
  ByteSource(const ByteSource&) = default;
  ByteSource& operator=(const ByteSource&) = default;
};

// A descriptor, which it does not own, up to its end.
class DescriptorSource final : public ByteSource {
 public:
  explicit DescriptorSource(int descriptor) : descriptor_(descriptor) {}

  ReadBytes read_some(std::span<std::byte> room) override;
  bool would_wait() override;

 private:
  int descriptor_;
};

}  // namespace hub::host
