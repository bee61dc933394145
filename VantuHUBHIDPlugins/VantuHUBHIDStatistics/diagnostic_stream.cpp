// SPDX-License-Identifier: Apache-2.0
#include "diagnostic_stream.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "little_endian.h"
#include "state_frame.h"

namespace {

enum Tag : std::uint8_t { kNumber32 = 0, kNumber64 = 1, kText = 2, kEndOfEntry = 3, kHexadecimal = 4, kDecimal = 5 };

class Reader {
 public:
  Reader(std::span<const std::byte> stream, const std::function<void(const char*)>& store)
      : rest_(stream), store_(store) {}

  void read() {
    while (!rest_.empty()) {
      const auto tag = load_le<std::uint8_t>(rest_, 0);
      rest_ = rest_.subspan(1);
      if (complete_) {
        storeEntry();
      }
      follow(tag);
    }
    if (length_ != 0) {
      storeEntry();
    }
  }

 private:
  void follow(std::uint8_t tag) {
    switch (tag) {
      case kNumber32:
        appendNumber<std::uint32_t>("%d", "%x");
        break;
      case kNumber64:
        appendNumber<std::uint64_t>("%lld", "%llx");
        break;
      case kText:
        appendText();
        break;
      case kEndOfEntry:
        complete_ = true;
        break;
      case kHexadecimal:
        hexadecimal_ = true;
        break;
      case kDecimal:
        hexadecimal_ = false;
        break;
      default:
        break;
    }
  }

  template <typename Number>
  void appendNumber(const char* decimalFormat, const char* hexadecimalFormat) {
    if (rest_.size() < sizeof(Number)) {
      rest_ = {};
      return;
    }
    const auto number = load_le<Number>(rest_, 0);
    rest_ = rest_.subspan(sizeof(Number));
    append(FormattedText<32>(hexadecimal_ ? hexadecimalFormat : decimalFormat, number).get());
  }

  void appendText() {
    const auto end = std::find(rest_.begin(), rest_.end(), std::byte{0});
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    append({reinterpret_cast<const char*>(rest_.data()), length});
    rest_ = rest_.subspan(std::min(length + 1, rest_.size()));
  }

  void append(std::string_view text) {
    length_ += text.copy(text_ + length_, sizeof text_ - 1 - length_);
    text_[length_] = '\0';
  }

  void storeEntry() {
    store_(text_);
    complete_ = false;
    length_ = 0;
    text_[0] = '\0';
  }

  std::span<const std::byte> rest_;
  const std::function<void(const char*)>& store_;
  bool complete_ = false;  // the next tag stores the entry
  bool hexadecimal_ = false;
  char text_[1024] = "";
  std::size_t length_ = 0;
};

}  // namespace

void readDiagnosticStream(std::span<const std::byte> stream, const std::function<void(const char* text)>& store) {
  Reader(stream, store).read();
}
