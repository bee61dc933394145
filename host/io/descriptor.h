// SPDX-License-Identifier: Apache-2.0
// Reading and writing file descriptors to the last byte: interrupted calls are repeated, descriptors that do not block
// are waited for. Failures are std::system_error with the system's reason.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

namespace hub::host {

// Owns an open descriptor, or none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, kNone)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  [[nodiscard]] int number() const { return number_; }

  // Closes it now; throws when the system reports that something written before was lost.
  void close();

 private:
  static constexpr int kNone = -1;
  int number_ = kNone;
};

// What is there to read, at most the room given; at least one byte unless the end is reached (0).
std::size_t read_some(int descriptor, std::span<std::byte> room);

void write_all(int descriptor, std::string_view text);

}  // namespace hub::host
