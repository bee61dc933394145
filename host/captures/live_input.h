// SPDX-License-Identifier: Apache-2.0
// Reading on where an input is still written: a file that grows and is rotated, a pipe whose writers come and go.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "host/captures/byte_source.h"
#include "host/io/descriptor.h"

namespace hub::host {

struct LiveInputOptions {
  // At the end of what there is, wait for more.
  bool follow = false;

  // The end is reached when nothing has come for so long. 0: as soon as nothing is there.
  std::optional<std::chrono::duration<double>> idle_timeout;
};

// An input by its name or its descriptor. Without options it ends where the file or the pipe ends. Followed,
//   a file         is read on as it grows. When it has become shorter than what was read of it, it is read again from
//                  its start; that it was cut and has grown beyond that since cannot be seen.
//   a file's name  may come to lead to another file: what is left of the old one is read, then the new one from its
//                  start. While it leads nowhere, the old one is read on.
//   a named pipe   goes on with the next writer when the last one has closed it, and as a file does when its name has
//                  come to lead elsewhere. Writers between which nobody looked count as one.
//   a descriptor   has no name to look at: a file's is read on, any other ends where it ends.
// Signals end the process as usual.
class LiveInput final : public ByteSource {
 public:
  // Opens the file; does not wait for a named pipe's writer. Throws std::system_error when it cannot be opened, also
  // when it is followed: a name that leads nowhere at first is a mistake.
  LiveInput(const std::string& path, const LiveInputOptions& options);

  // Reads from where the descriptor stands, which it does not own. Throws std::system_error when it is none.
  LiveInput(int descriptor, const LiveInputOptions& options);

  // Throws std::system_error also when what has taken the name cannot be opened.
  ReadBytes read_some(std::span<std::byte> room) override;
  bool would_wait() override;

  // What is read at the moment.
  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  using Clock = std::chrono::steady_clock;

  void use(int descriptor);
  [[nodiscard]] std::size_t read_what_is_there(std::span<std::byte> room);
  [[nodiscard]] std::size_t read_current(std::span<std::byte> room);
  [[nodiscard]] bool goes_on_behind_its_end() const;
  [[nodiscard]] bool move_on();
  [[nodiscard]] bool start_again_when_cut();
  [[nodiscard]] bool find_successor();
  void take_successor();
  [[nodiscard]] bool wait_since(Clock::time_point start) const;

  std::string path_;  // empty: not followed by name
  LiveInputOptions options_;
  Descriptor owned_;
  int descriptor_ = -1;
  bool is_file_ = false;
  bool is_named_pipe_ = false;  // that is followed
  bool at_end_ = false;         // the last read met the end of what is read at the moment
  bool ended_ = false;
  Descriptor successor_;                   // what the name leads to now, read when the current one is at its end
  ByteOrigin origin_ = ByteOrigin::kSame;  // of the next bytes
};

}  // namespace hub::host
