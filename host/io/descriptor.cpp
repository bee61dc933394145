// SPDX-License-Identifier: Apache-2.0
#include "host/io/descriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace hub::host {
namespace {

[[noreturn]] void throw_errno(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

// After a call that failed: waits when the descriptor was merely not ready, throws when it is beyond that.
void wait_or_throw(int descriptor, short event, const char* operation) {
  if (errno == EINTR) {
    return;
  }
  if (errno != EAGAIN) {
    throw_errno(operation);
  }
  pollfd wanted{descriptor, event, 0};
  if (poll(&wanted, 1, -1) < 0 && errno != EINTR) {
    throw_errno(operation);
  }
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ != kNone) {
    ::close(number_);
  }
}

void Descriptor::close() {
  if (::close(std::exchange(number_, kNone)) != 0 && errno != EINTR) {
    throw_errno("close");
  }
}

std::size_t read_some(int descriptor, std::span<std::byte> room) {
  while (true) {
    const ssize_t length = ::read(descriptor, room.data(), room.size());
    if (length >= 0) {
      return static_cast<std::size_t>(length);
    }
    wait_or_throw(descriptor, POLLIN, "read");
  }
}

void write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t length = ::write(descriptor, text.data(), text.size());
    if (length >= 0) {
      text.remove_prefix(static_cast<std::size_t>(length));
    } else {
      wait_or_throw(descriptor, POLLOUT, "write");
    }
  }
}

}  // namespace hub::host
