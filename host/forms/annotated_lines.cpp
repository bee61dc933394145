// SPDX-License-Identifier: Apache-2.0
#include "host/forms/annotated_lines.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace hub::host {
namespace {

constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kReset = "\x1b[0m";

// By category id; the last one for all categories without a name.
constexpr std::array<std::string_view, 14> kCategoryColors = {
    "\x1b[37m",  // exec
    "\x1b[37m",  // trace
    "\x1b[32m",  // sensor
    "\x1b[34m",  // sphere
    "\x1b[34m",  // cumulus
    "\x1b[33m",  // interrupt
    "\x1b[33m",  // uart
    "\x1b[36m",  // sshb
    "\x1b[37m",  // control
    "\x1b[33m",  // scm
    "\x1b[31m",  // wake
    "\x1b[35m",  // haptics
    "\x1b[37m",  // cm
    "\x1b[91m",
};

std::string_view color_of(const _HubProfileReport& report) {
  return report.category_id < kCategoryColors.size() ? kCategoryColors[report.category_id] : kCategoryColors.back();
}

void append_delta(std::uint64_t from_us, std::uint64_t to_us, TextBuffer& out) {
  constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
  constexpr std::size_t kColumns = 14;
  constexpr std::size_t kFractionDigits = 6;
  const bool is_later = to_us >= from_us;
  const std::uint64_t distance_us = is_later ? to_us - from_us : from_us - to_us;
  const std::string fraction = std::to_string(distance_us % kMicrosecondsPerSecond);
  const std::string text = (is_later ? "+" : "-") + std::to_string(distance_us / kMicrosecondsPerSecond) + "." +
                           std::string(kFractionDigits - fraction.size(), '0') + fraction;
  out += std::string(kColumns - std::min(kColumns, text.size()), ' ');
  out += text;
  out += ' ';
}

class AnnotatedLines : public RecordFormat {
 public:
  AnnotatedLines(std::unique_ptr<RecordFormat> lines, const Annotations& annotations)
      : lines_(std::move(lines)), annotations_(annotations) {}

  void pass_over(const _HubProfileReport& report) override {
    if (annotations_.delta == DeltaFrom::kPrev || is_first_to_count_from()) {
      counted_from_us_ = report.timestamp;
    }
  }

  bool append(const _HubProfileReport& report, TextBuffer& out) override {
    const std::size_t length_before = out.size();
    append_annotations(report, out);
    const std::size_t line_begins = out.size();
    const bool has_line = lines_->append(report, out);
    if (!has_line) {
      out.truncate(length_before);
      pass_over(report);
      return false;
    }
    if (annotations_.delta != DeltaFrom::kStart || is_first_to_count_from()) {
      counted_from_us_ = report.timestamp;
    }
    if (annotations_.colors && out.size() > line_begins) {
      out.truncate(out.size() - 1);  // the line's end
      out += kReset;
      out += '\n';
    }
    return true;
  }

 private:
  void append_annotations(const _HubProfileReport& report, TextBuffer& out) {
    if (annotations_.delta != DeltaFrom::kNone) {
      out += annotations_.colors ? kDim : std::string_view();
      append_delta(counted_from_us_.value_or(report.timestamp), report.timestamp, out);
      out += annotations_.colors ? kReset : std::string_view();
    }
    if (annotations_.colors) {
      out += color_of(report);
    }
  }

  [[nodiscard]] bool is_first_to_count_from() const {
    return annotations_.delta == DeltaFrom::kStart && !counted_from_us_;
  }

  std::unique_ptr<RecordFormat> lines_;
  Annotations annotations_;
  std::optional<std::uint64_t> counted_from_us_;
};

}  // namespace

std::unique_ptr<RecordFormat> annotate_lines(std::unique_ptr<RecordFormat> lines, const Annotations& annotations) {
  return std::make_unique<AnnotatedLines>(std::move(lines), annotations);
}

}  // namespace hub::host
