// SPDX-License-Identifier: Apache-2.0
// The stream that a line is written into. To make a string stream takes as long as to write half a line, so a thread's
// stream is used again.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace hub::profile {

// The thread's spare stream, or a new one: when a thread decodes for the first time, and when an outside decoder has
// another report decoded in the middle of a line. Whatever an outside decoder did to it in the line before, and if that
// ended with an exception: the stream has all settings of a new one in the classic locale. [any thread]
class LineStream {
 public:
  LineStream();
  LineStream(const LineStream&) = delete;
  LineStream& operator=(const LineStream&) = delete;
  ~LineStream();

  std::stringstream& operator*() { return *stream_; }

  // The stream's text is this one from now on; what is written goes behind it, into its room.
  void begin_with(std::string&& text) { stream_->str(std::move(text)); }

  // The stream's text, moved out of it.
  std::string take_text() { return std::move(*stream_).str(); }

 private:
  std::unique_ptr<std::stringstream> stream_;
};

}  // namespace hub::profile
