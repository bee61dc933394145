// SPDX-License-Identifier: Apache-2.0
// Any 48 bytes are a report, and have a line. The input is a capture of reports; zeros fill up the last one.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "corefoundation/corefoundation_host.h"
#include "fuzz/fuzzing.h"
#include "profile/NEBLogDecoder.h"
#include "profile/profile_exports.h"
#include "system/system_host.h"

namespace {

using hub::fuzz::require;

// A byte in decimal, with a comma behind it.
struct ByteText {
  std::array<char, 4> text{};
  std::size_t length = 0;
};
constexpr auto kByteTexts = [] {
  std::array<ByteText, 256> texts;
  for (unsigned byte = 0; byte < texts.size(); ++byte) {
    ByteText& row = texts[byte];
    for (unsigned place = byte < 10 ? 1 : byte < 100 ? 10 : 100; place != 0; place /= 10) {
      row.text[row.length++] = static_cast<char>('0' + byte / place % 10);
    }
    row.text[row.length++] = ',';
  }
  return texts;
}();

// What stands behind the payload's items, put together on its own.
class ExpectedEnd {
 public:
  explicit ExpectedEnd(const _HubProfileReport& report) {
    put(" 'type-id':", report.type_id);
    put(" 'category-id':", report.category_id);
    put(" 'component-id':", report.component_id);
    put(" 'event-id':", report.event_id);
    put(" 'binary-data':[");
    std::array<std::uint8_t, sizeof report> bytes;
    std::memcpy(bytes.data(), &report, sizeof report);
    for (const std::uint8_t byte : bytes) {
      put(byte);
    }
    end_[-1] = ']';  // in place of the last comma
    *end_++ = '}';
  }

  [[nodiscard]] std::string_view text() const { return {text_.data(), static_cast<std::size_t>(end_ - text_.data())}; }

 private:
  void put(std::string_view words) {
    std::memcpy(end_, words.data(), words.size());
    end_ += words.size();
  }
  void put(std::uint8_t byte) {
    const ByteText& row = kByteTexts[byte];
    std::memcpy(end_, row.text.data(), row.text.size());
    end_ += row.length;
  }
  void put(std::string_view words, std::uint8_t byte) {
    put(words);
    put(byte);
  }

  std::array<char, 320> text_;  // as it comes: put() fills what is read of it
  char* end_ = text_.data();
};

bool is_ascii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char character) { return static_cast<signed char>(character) < 0; });
}

void check_description(const _HubProfileReport& report, std::string_view line) {
  const CFStringRef description = CopyProfileDescription(&report);
  if (description == nullptr) {
    require(!is_ascii(line), "a line of ASCII is a description", line);
    return;
  }
  require(line == CFStringGetCStringPtr(description, kCFStringEncodingUTF8), "the description is the line", line);
  CFRelease(description);
}

void check(const _HubProfileReport& report) {
  const std::int64_t strings_before = hub::platform::live_objects(CFStringGetTypeID());
  const std::string line = NEBLogDecoder::to_string(report);
  require(line.starts_with("{  'category':"), "a line begins with the category", line);
  require(line.find('\0') == std::string::npos, "a line holds no zero byte", line);
  require(line.ends_with(ExpectedEnd(report).text()), "a line ends with the ids and all bytes", line);
  check_description(report, line);
  require(hub::platform::live_objects(CFStringGetTypeID()) == strings_before, "no string is left over", line);
}

// At an odd address, with nothing behind it that may be read.
struct ReportAtAnyAddress {
  char before;
  _HubProfileReport report;
};
static_assert(offsetof(ReportAtAnyAddress, report) == 1);

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  hub::platform::fail_boot_time(ENOENT);
  NEBLogDecoder::to_string(_HubProfileReport{});  // what a thread keeps from its first line on
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  hub::fuzz::Input input(data, size);
  do {
    const auto bytes = input.take(sizeof(_HubProfileReport));
    ReportAtAnyAddress place{};
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::byte*>(&place.report));
    check(place.report);
  } while (!input.is_over());
  return 0;
}
