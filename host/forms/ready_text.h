// SPDX-License-Identifier: Apache-2.0
// Texts that stand in the output again and again, made ready once.
#pragma once

#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "host/text/text_buffer.h"
#include "profile/payload.h"

namespace hub::host {

// A short constant text that is cheap to append: a block of one size is copied whatever the text's length, which takes
// no call and no choice.
class ReadyText {
 public:
  // Throws std::length_error: the text is longer than a block.
  explicit ReadyText(std::string_view text);

  void append_to(TextBuffer& out) const {
    char* const end = out.room(block_.size());
    std::memcpy(end, block_.data(), block_.size());
    out.advance_to(end + length_);
  }

 private:
  static constexpr std::size_t kBlockBytes = 32;

  std::size_t length_;
  std::array<char, kBlockBytes> block_{};
};

inline TextBuffer& operator+=(TextBuffer& out, const ReadyText& text) {
  text.append_to(out);
  return out;
}

// What stands in front of a row's value, of every row of every layout.
class ReadyKeys {
 public:
  // The keys with these texts around them; in front of a layout's first row another one.
  ReadyKeys(std::string_view before_first, std::string_view before, std::string_view behind);

  // In the order of the layout's rows. The layout is one of kLayouts. [any thread]
  [[nodiscard]] std::span<const ReadyText> of(const profile::Layout& layout) const;

 private:
  std::vector<std::vector<ReadyText>> rows_;  // by the layout's place in kLayouts
};

}  // namespace hub::host
