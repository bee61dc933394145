// SPDX-License-Identifier: Apache-2.0
#include "host/io/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace hub::host {
namespace {

constexpr std::chrono::milliseconds kRedrawEvery{100};
constexpr double kBytesPerMebibyte = 1048576.0;

bool is_enabled(ProgressWhen when, bool is_file) {
  switch (when) {
    case ProgressWhen::kAlways:
      return true;
    case ProgressWhen::kNever:
      return false;
    case ProgressWhen::kAuto:
      return is_file && isatty(STDERR_FILENO) != 0;
  }
  return false;
}

// How much fits into a line of the terminal; of anything else, all.
std::size_t line_length() {
  winsize size{};
  const bool is_known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return is_known ? size.ws_col - 1U : std::string::npos;
}

std::string done_text(std::uint64_t done_bytes, std::uint64_t records, std::uint64_t size_bytes) {
  char text[128];
  const double done_mib = static_cast<double>(done_bytes) / kBytesPerMebibyte;
  const auto record_count = static_cast<unsigned long long>(records);
  const char* noun = records == 1 ? "record" : "records";
  if (size_bytes == 0) {
    std::snprintf(text, sizeof text, "%llu %s, %.1f MiB", record_count, noun, done_mib);
  } else {
    const double share = std::min(1.0, static_cast<double>(done_bytes) / static_cast<double>(size_bytes));
    std::snprintf(text, sizeof text, "%3.0f %%, %llu %s, %.1f of %.1f MiB", share * 100, record_count, noun, done_mib,
                  static_cast<double>(size_bytes) / kBytesPerMebibyte);
  }
  return text;
}

// How fast, and how much longer at this rate; nothing before there is a rate to speak of.
std::string rate_text(std::uint64_t done_bytes, std::uint64_t records, std::uint64_t size_bytes, double elapsed_s) {
  constexpr double kShortest_s = 0.5;
  if (elapsed_s < kShortest_s || done_bytes == 0) {
    return "";
  }
  char text[96];
  std::snprintf(text, sizeof text, ", %.0f records/s", static_cast<double>(records) / elapsed_s);
  std::string rate = text;
  if (size_bytes > done_bytes) {
    const double left_s = elapsed_s / static_cast<double>(done_bytes) * static_cast<double>(size_bytes - done_bytes);
    std::snprintf(text, sizeof text, ", %.0f s left", left_s);
    rate += text;
  }
  return rate;
}

}  // namespace

Progress::Progress(ProgressWhen when, std::string input_name, std::optional<std::uint64_t> size_bytes)
    : enabled_(is_enabled(when, size_bytes.has_value())),
      keep_last_(when == ProgressWhen::kAlways),
      input_name_(std::move(input_name)),
      size_bytes_(size_bytes) {}

Progress::~Progress() {
  hide();
  if (enabled_ && keep_last_) {
    draw();
    std::fputs("\n", stderr);
  }
}

void Progress::hide() {
  if (drawn_length_ > 0) {
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(drawn_length_), "");
    drawn_length_ = 0;
  }
}

void Progress::show(std::uint64_t done_bytes, std::uint64_t records) {
  done_bytes_ = done_bytes;
  records_ = records;
  const auto now = std::chrono::steady_clock::now();
  if (enabled_ && now - drawn_at_ >= kRedrawEvery) {
    hide();
    draw();
    drawn_at_ = now;
  }
}

void Progress::draw() {
  const std::uint64_t size_bytes = size_bytes_.value_or(0);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begun_at_;
  std::string text = input_name_ + ": " + done_text(done_bytes_, records_, size_bytes) +
                     rate_text(done_bytes_, records_, size_bytes, elapsed.count());
  text.resize(std::min(text.size(), line_length()));
  std::fputs(text.c_str(), stderr);
  drawn_length_ = text.size();
}

}  // namespace hub::host
