// SPDX-License-Identifier: Apache-2.0
// How far a tool has come, how fast, and how much longer it will take, on standard error: one line that is rewritten in
// place.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace hub::host {

enum class ProgressWhen { kAuto, kAlways, kNever };

// The progress through one input.
class Progress {
 public:
  // `size_bytes` when the input is a file. With kAuto it is shown only for a file, and on a terminal.
  Progress(ProgressWhen when, std::string input_name, std::optional<std::uint64_t> size_bytes);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Takes the line off the screen, so that something else can be written. Before any other output.
  void hide();

  // Shows this state, unless the last one was shown just now.
  void show(std::uint64_t done_bytes, std::uint64_t records);

 private:
  void draw();

  bool enabled_;
  bool keep_last_;  // leave the last state standing
  std::string input_name_;
  std::optional<std::uint64_t> size_bytes_;
  std::uint64_t done_bytes_ = 0;
  std::uint64_t records_ = 0;
  std::size_t drawn_length_ = 0;
  std::chrono::steady_clock::time_point begun_at_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point drawn_at_{};
};

}  // namespace hub::host
