// SPDX-License-Identifier: Apache-2.0
#include "host/figures/figure_text.h"

#include <array>
#include <charconv>

#include "host/text/printable_text.h"

namespace hub::host {
namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr double kPercent = 100;

std::string one_decimal_text(double number) {
  constexpr double kLeastShown = 0.05;
  if (number > 0 && number < kLeastShown) {
    return "<0.1";
  }
  std::array<char, 64> room{};  // the largest rate, 2^64 records in a microsecond, has 26 digits
  return {room.data(), std::to_chars(room.data(), room.data() + room.size(), number, std::chars_format::fixed, 1).ptr};
}

}  // namespace

std::string count_text(std::optional<std::uint64_t> count) { return count ? number_text(*count) : kUnknown; }

std::string seconds_text(std::optional<std::uint64_t> time_us) {
  if (!time_us) {
    return kUnknown;
  }
  const std::string fraction = number_text(kMicrosecondsPerSecond + *time_us % kMicrosecondsPerSecond);
  return number_text(*time_us / kMicrosecondsPerSecond) + "." + fraction.substr(1);
}

std::string rate_text(std::optional<double> rate) { return rate ? one_decimal_text(*rate) : kUnknown; }

std::string share_text(std::optional<double> share) {
  return share ? one_decimal_text(*share * kPercent) + "%" : kUnknown;
}

std::string more_text(std::size_t row_count) { return "(" + number_text(row_count) + " more)"; }

std::string level_text(Level level) {
  static constexpr std::array<const char*, kLevelCount> kTexts = {"category", "component", "event"};
  return kTexts[static_cast<std::size_t>(level)];
}

std::string group_text(GroupKey key, Level level) {
  std::string text;
  for (const NamedId& id : ids_of(key, level)) {
    text += (text.empty() ? "" : "/") + id.name;
  }
  return text;
}

std::string function_text(const FunctionKey& key) {
  const std::string name = key.has_name() ? printable(key.name_text()) : number_text(key.number);
  return std::string(key.layout_name()) + " " + (name.empty() ? "(no name)" : name);
}

std::string estimates_note() {
  return "Percentiles of more than " + number_text(DurationHistogram::kExactValues) +
         " values are within 1 % of the exact ones.";
}

std::string others_note() {
  return "(others): what came after the first " + number_text(CaptureSummary::Groups::kMostKeys) + " rows of a table.";
}

}  // namespace hub::host
