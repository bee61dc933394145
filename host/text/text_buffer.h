// SPDX-License-Identifier: Apache-2.0
// Where texts are put together before they go to an output.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace hub::host {

// Text that grows at its end. A string would do, but for two things that count when a record is some forty short
// pieces: here room is not filled with zeros before it is written to, and nothing is called to append a character.
// Cleared and used again, it allocates only for a text longer than all before. Moved from, it may only be destroyed or
// assigned to.
class TextBuffer {
 public:
  TextBuffer() : TextBuffer(kUsualLength) {}

  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(end_ - storage_.get()); }
  [[nodiscard]] std::string_view view() const { return {storage_.get(), size()}; }
  void clear() { truncate(0); }
  void truncate(std::size_t size) { end_ = storage_.get() + size; }  // no more than there is

  TextBuffer& operator+=(char character) {
    *room(1) = character;
    ++end_;
    return *this;
  }

  // `text` lies elsewhere.
  TextBuffer& operator+=(std::string_view text) {
    text.copy(room(text.size()), text.size());
    end_ += text.size();
    return *this;
  }

  // Where so many bytes can be written, behind the text: they belong to it once advance_to has been told their end. All
  // pointers into the buffer are void afterwards but this one.
  char* room(std::size_t length) {
    if (static_cast<std::size_t>(limit_ - end_) < length) {
      grow(length);
    }
    return end_;
  }
  void advance_to(char* end) { end_ = end; }

 private:
  static constexpr std::size_t kUsualLength = 2048;

  explicit TextBuffer(std::size_t capacity)
      : storage_(std::make_unique_for_overwrite<char[]>(capacity)),
        end_(storage_.get()),
        limit_(storage_.get() + capacity) {}

  void grow(std::size_t length);

  std::unique_ptr<char[]> storage_;
  char* end_;
  char* limit_;
};

}  // namespace hub::host
