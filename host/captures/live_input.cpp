// SPDX-License-Identifier: Apache-2.0
#include "host/captures/live_input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>
#include <utility>

namespace hub::host {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr Seconds kLookEvery{0.05};    // at a file's end, for more and for its name
constexpr Seconds kLongestWait{3600};  // then again
constexpr int kNone = -1;

[[noreturn]] void throw_errno(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

// A named pipe opens without its writer, and a pipe without data does not hold up the look at the clock.
int open_without_waiting(const std::string& path) {
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

struct stat status_of(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) {
    throw_errno("fstat");
  }
  return status;
}

off_t position_of(int descriptor) {
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  if (position < 0) {
    throw_errno("lseek");
  }
  return position;
}

bool same_file(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// What there is to find without waiting: POLLIN, POLLHUP and so on; 0 when nothing.
short readiness(int descriptor) {
  pollfd wanted{descriptor, POLLIN, 0};
  return poll(&wanted, 1, 0) > 0 ? wanted.revents : short{0};
}

}  // namespace

LiveInput::LiveInput(const std::string& path, const LiveInputOptions& options)
    : path_(options.follow ? path : ""), options_(options), owned_(open_without_waiting(path)) {
  if (owned_.number() == kNone) {
    throw_errno("open");
  }
  use(owned_.number());
}

LiveInput::LiveInput(int descriptor, const LiveInputOptions& options) : options_(options) { use(descriptor); }

void LiveInput::use(int descriptor) {
  const mode_t mode = status_of(descriptor).st_mode;
  descriptor_ = descriptor;
  is_file_ = S_ISREG(mode);
  is_named_pipe_ = S_ISFIFO(mode) && !path_.empty();
  at_end_ = false;
}

ReadBytes LiveInput::read_some(std::span<std::byte> room) {
  const auto start = Clock::now();
  while (!ended_) {
    const std::size_t length_bytes = read_what_is_there(room);
    if (length_bytes > 0) {
      return {length_bytes, std::exchange(origin_, ByteOrigin::kSame)};
    }
    ended_ = (at_end_ && !goes_on_behind_its_end()) || !wait_since(start);
  }
  return {};
}

bool LiveInput::would_wait() {
  if (ended_) {
    return false;
  }
  if (is_file_) {
    return options_.follow && position_of(descriptor_) >= status_of(descriptor_).st_size;
  }
  const short ready = readiness(descriptor_);
  if (ready != 0 && (ready & POLLIN) == 0 && is_named_pipe_) {
    origin_ = ByteOrigin::kNextWriter;
    return true;
  }
  return ready == 0;
}

// Without waiting: 0 when nothing is there.
std::size_t LiveInput::read_what_is_there(std::span<std::byte> room) {
  std::size_t length_bytes = read_current(room);
  while (length_bytes == 0 && at_end_ && goes_on_behind_its_end() && move_on()) {
    length_bytes = read_current(room);
  }
  return length_bytes;
}

std::size_t LiveInput::read_current(std::span<std::byte> room) {
  at_end_ = false;
  if (!is_file_ && readiness(descriptor_) == 0) {
    return 0;
  }
  const ssize_t length = ::read(descriptor_, room.data(), room.size());
  if (length < 0 && errno != EAGAIN && errno != EINTR) {
    throw_errno("read");
  }
  at_end_ = length == 0;
  if (at_end_ && is_named_pipe_) {
    origin_ = ByteOrigin::kNextWriter;
  }
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

bool LiveInput::goes_on_behind_its_end() const { return options_.follow && (is_file_ || is_named_pipe_); }

// At the end of what is read at the moment: whether it is worth reading again. What has taken the name is found first
// and taken only when another read has met the end: the old file may have grown until it lost its name.
bool LiveInput::move_on() {
  if (start_again_when_cut()) {
    return true;
  }
  if (successor_.number() != kNone) {
    take_successor();
    return true;
  }
  return find_successor();
}

bool LiveInput::start_again_when_cut() {
  if (!is_file_ || status_of(descriptor_).st_size >= position_of(descriptor_)) {
    return false;
  }
  if (lseek(descriptor_, 0, SEEK_SET) != 0) {
    throw_errno("lseek");
  }
  origin_ = ByteOrigin::kCutFile;
  return true;
}

bool LiveInput::find_successor() {
  if (path_.empty()) {
    return false;
  }
  Descriptor found(open_without_waiting(path_));
  if (found.number() == kNone) {
    if (errno == ENOENT) {
      return false;
    }
    throw_errno("open");
  }
  if (same_file(status_of(found.number()), status_of(descriptor_))) {
    return false;
  }
  successor_ = std::move(found);
  return true;
}

void LiveInput::take_successor() {
  owned_ = std::exchange(successor_, Descriptor());
  use(owned_.number());
  origin_ = ByteOrigin::kNextFile;
}

// Until something may be there, at most until the time is over; false when it is over.
bool LiveInput::wait_since(Clock::time_point start) const {
  Seconds longest = at_end_ ? kLookEvery : kLongestWait;
  if (options_.idle_timeout) {
    const Seconds left = *options_.idle_timeout - (Clock::now() - start);
    if (left <= Seconds::zero()) {
      return false;
    }
    longest = std::min(longest, left);
  }
  const auto milliseconds = static_cast<int>(std::ceil(longest.count() * 1000));
  // The end of a pipe, which is no longer news, would end the wait at once.
  pollfd wanted{at_end_ ? kNone : descriptor_, POLLIN, 0};
  if (poll(&wanted, 1, milliseconds) < 0 && errno != EINTR) {
    throw_errno("poll");
  }
  return true;
}

}  // namespace hub::host
