// SPDX-License-Identifier: Apache-2.0
// Any bytes are a filter or an error of three printable lines with a caret that is under the expression or just behind
// it. What is a filter answers for any record; in parentheses behind a "!" it answers the opposite.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "host/filter/record_filter.h"
#include "host/text/printable_text.h"

namespace {

using namespace hub;
using host::RecordFilter;

void require(bool holds, const char* promise) {
  if (!holds) {
    std::fprintf(stderr, "%s\n", promise);
    std::abort();
  }
}

void check_message(std::string_view message) {
  const std::size_t first = message.find('\n');
  const std::size_t last = message.rfind('\n');
  require(std::count(message.begin(), message.end(), '\n') == 2, "an error has three lines");
  for (const char character : message) {
    require(character == '\n' || (static_cast<unsigned char>(character) >= ' ' && character != '\x7f'),
            "an error is printable");
  }
  const std::string_view expression = message.substr(first + 1, last - first - 1);
  const std::string_view caret = message.substr(last + 1);
  require(caret.find_first_not_of(' ') == caret.size() - 1 && caret.back() == '^', "the last line is a caret");
  require(caret.size() <= host::width_of(expression) + 1, "the caret is under the expression or just behind it");
}

std::optional<RecordFilter> parse(const std::string& expression) try {
  return RecordFilter::parse(expression);
} catch (const host::FilterError& error) {
  check_message(error.what());
  return std::nullopt;
}

// Records whose bytes are the expression's own, each of another category and type.
void check_answers(const RecordFilter& filter, const RecordFilter& opposite, std::string_view bytes) {
  constexpr unsigned kRecords = 64;
  for (unsigned turn = 0; turn < kRecords; ++turn) {
    _HubProfileReport report{};
    const std::size_t begin = turn % bytes.size();
    std::memcpy(&report, bytes.data() + begin, std::min(bytes.size() - begin, sizeof report));
    report.category_id = static_cast<std::uint8_t>(turn % 14);
    report.component_id %= 8;
    report.type_id = static_cast<std::uint8_t>(turn / 5);
    require(filter.matches(report) != opposite.matches(report), "the opposite is the opposite");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string expression(reinterpret_cast<const char*>(data), size);
  const std::optional<RecordFilter> filter = parse(expression);
  if (filter) {
    // Where the parentheses are one too many, there is no opposite to ask.
    if (const std::optional<RecordFilter> opposite = parse("!(" + expression + ")")) {
      check_answers(*filter, *opposite, expression);
    }
  }
  return 0;
}
