// SPDX-License-Identifier: Apache-2.0
#include "profile/line_stream.h"

#include <ios>
#include <locale>
#include <utility>

#include "profile/thread_spare.h"

namespace hub::profile {
namespace {

// A number that a stream carries: 1 while it has the locale that it was made with. Asking for the locale itself would
// count references twice for each line.
int as_made() {
  static const int index = std::ios_base::xalloc();
  return index;
}

void note_change(std::ios_base::event, std::ios_base& stream, int index) { stream.iword(index) = 0; }

// False when it has another locale or writes into another buffer; a stream that was copied or moved over is not as
// made.
bool can_be_used_again(std::stringstream& stream) {
  return stream.iword(as_made()) == 1 && static_cast<const std::ios&>(stream).rdbuf() == stream.rdbuf();
}

// What else an outside decoder can have changed.
void reset_settings(std::stringstream& stream) {
  constexpr std::streamsize kPrecisionOfNewStreams = 6;
  if (stream.exceptions() != std::ios::goodbit) {
    stream.exceptions(std::ios::goodbit);
  }
  if (!stream.good()) {
    stream.clear();
  }
  stream.flags(std::ios::dec | std::ios::skipws);
  stream.width(0);
  stream.precision(kPrecisionOfNewStreams);
  stream.fill(' ');
  stream.tie(nullptr);
}

std::unique_ptr<std::stringstream> make_stream() {
  // At the end of its text: what stands in front of the items is there before they are written.
  auto stream = std::make_unique<std::stringstream>(std::ios::in | std::ios::out | std::ios::ate);
  stream->imbue(std::locale::classic());
  stream->register_callback(note_change, as_made());
  stream->iword(as_made()) = 1;
  return stream;
}

}  // namespace

LineStream::LineStream() : stream_(ThreadSpare<std::stringstream>::take()) {
  if (stream_ == nullptr) {
    stream_ = make_stream();
  }
  reset_settings(*stream_);
}

LineStream::~LineStream() {
  if (can_be_used_again(*stream_)) {
    ThreadSpare<std::stringstream>::give_back(std::move(stream_));
  }
}

}  // namespace hub::profile
