// SPDX-License-Identifier: Apache-2.0
#include "host/figures/capture_summary.h"

#include <algorithm>
#include <vector>

#include "profile/NEBLogDecoder.h"
#include "profile/payload.h"

namespace hub::host {
namespace {

using profile::Field;
using profile::Form;
using profile::Layout;

constexpr unsigned kCategoryShift = 24;
constexpr unsigned kComponentShift = 16;
constexpr unsigned kEventShift = 8;
constexpr GroupKey kIdMask = 0xFF;

GroupKey key_of(const _HubProfileReport& report, Level level) {
  GroupKey key = GroupKey{report.category_id} << kCategoryShift;
  if (level >= Level::kComponent) {
    key |= GroupKey{report.component_id} << kComponentShift;
  }
  if (level >= Level::kEvent) {
    key |= GroupKey{report.event_id} << kEventShift;
  }
  return key;
}

const Field* row_of(const Layout& layout, std::string_view key) {
  const auto row =
      std::find_if(layout.fields.begin(), layout.fields.end(), [key](const Field& field) { return field.key == key; });
  return row != layout.fields.end() ? &*row : nullptr;
}

// The rows of a layout that tell of a function.
struct FunctionLayout {
  std::uint8_t index;  // in profile::kLayouts
  const Layout* layout;
  const Field* duration;
  const Field* function;         // number or text; null: the duration is of no function
  const Field* thread_duration;  // null: there is none
};

std::vector<FunctionLayout> find_function_layouts() {
  std::vector<FunctionLayout> found;
  for (std::size_t index = 0; index < profile::kLayouts.size(); ++index) {
    const Layout* layout = profile::kLayouts[index];
    if (const Field* duration = row_of(*layout, "duration")) {
      const Field* number = row_of(*layout, "function-id");
      const Field* function = number != nullptr ? number : row_of(*layout, "function");
      found.push_back(
          {static_cast<std::uint8_t>(index), layout, duration, function, row_of(*layout, "thread_duration")});
    }
  }
  return found;
}

// Null for a layout without durations.
const FunctionLayout* function_layout(const Layout* layout) {
  static const std::vector<FunctionLayout> kFound = find_function_layouts();
  const auto row = std::find_if(kFound.begin(), kFound.end(),
                                [layout](const FunctionLayout& candidate) { return candidate.layout == layout; });
  return row != kFound.end() ? &*row : nullptr;
}

FunctionKey function_of(const FunctionLayout& layout, profile::Payload payload) {
  FunctionKey key;
  key.layout = layout.index;
  if (layout.function->kind.form == Form::kText) {
    const std::string_view name = profile::text_of(*layout.function, payload);
    std::copy(name.begin(), name.end(), key.name.begin());
  } else {
    key.number = profile::number_of(*layout.function, payload);
  }
  return key;
}

}  // namespace

void RecordFigures::add(std::uint64_t timestamp_us) {
  ++count;
  first_us = std::min(first_us, timestamp_us);
  last_us = std::max(last_us, timestamp_us);
}

void RecordFigures::add_all_of(const RecordFigures& other) {
  count += other.count;
  first_us = std::min(first_us, other.first_us);
  last_us = std::max(last_us, other.last_us);
}

void FunctionFigures::add_all_of(const FunctionFigures& other) {
  durations.add_all_of(other.durations);
  if (other.thread_total) {
    thread_total = thread_total.value_or(0) + *other.thread_total;
  }
}

std::vector<NamedId> ids_of(GroupKey key, Level level) {
  _HubProfileReport report{};
  report.category_id = static_cast<std::uint8_t>(key >> kCategoryShift);
  report.component_id = static_cast<std::uint8_t>(key >> kComponentShift & kIdMask);
  report.event_id = static_cast<std::uint8_t>(key >> kEventShift & kIdMask);
  std::vector<NamedId> ids = {{report.category_id, NEBLogDecoder::category_to_string(report.category_id)}};
  if (level >= Level::kComponent) {
    ids.push_back({report.component_id, NEBLogDecoder::component_to_string(report.category_id, report.component_id)});
  }
  if (level >= Level::kEvent) {
    ids.push_back({report.event_id, profile::event_name_of(report)});
  }
  return ids;
}

bool FunctionKey::has_name() const {
  return function_layout(profile::kLayouts[layout])->function->kind.form == Form::kText;
}

std::string_view FunctionKey::name_text() const {
  return {name.data(), static_cast<std::size_t>(std::find(name.begin(), name.end(), '\0') - name.begin())};
}

std::size_t FunctionKeyHash::operator()(const FunctionKey& key) const {
  constexpr std::size_t kOddFactor = 31;
  return std::hash<std::string_view>()({key.name.data(), key.name.size()}) +
         kOddFactor * (std::hash<std::uint64_t>()(key.number) + kOddFactor * key.layout);
}

void CaptureSummary::see(const _HubProfileReport& report) {
  const std::uint64_t timestamp_us = report.timestamp;
  records_.add(timestamp_us);
  for (const Level level : {Level::kCategory, Level::kComponent, Level::kEvent}) {
    groups_[static_cast<std::size_t>(level)][key_of(report, level)].add(timestamp_us);
  }
  see_durations(report);
  presses_.see(report);
}

void CaptureSummary::see_durations(const _HubProfileReport& report) {
  const profile::Rendering rendering = profile::rendering_of(report);
  const Layout* second = rendering.second != rendering.first ? rendering.second : nullptr;
  const profile::Payload payload = profile::payload_of(report);
  for (const Layout* shown : {rendering.first, second}) {
    const FunctionLayout* layout = function_layout(shown);
    if (layout == nullptr) {
      continue;
    }
    const std::uint64_t duration = profile::number_of(*layout->duration, payload);
    event_durations_[key_of(report, Level::kEvent)].add(duration);
    if (layout->function != nullptr) {
      FunctionFigures& figures = functions_[function_of(*layout, payload)];
      figures.durations.add(duration);
      if (layout->thread_duration != nullptr) {
        figures.thread_total = figures.thread_total.value_or(0) + profile::number_of(*layout->thread_duration, payload);
      }
    }
  }
}

std::optional<std::uint64_t> CaptureSummary::span_us() const {
  return records_.count > 0 ? std::optional(records_.last_us - records_.first_us) : std::nullopt;
}

std::optional<double> CaptureSummary::per_second(std::uint64_t amount) const {
  constexpr double kMicrosecondsPerSecond = 1e6;
  const std::uint64_t span = span_us().value_or(0);
  return span > 0 ? std::optional(static_cast<double>(amount) * kMicrosecondsPerSecond / static_cast<double>(span))
                  : std::nullopt;
}

std::optional<double> CaptureSummary::share_of(std::uint64_t count) const {
  return records_.count > 0 ? std::optional(static_cast<double>(count) / static_cast<double>(records_.count))
                            : std::nullopt;
}

}  // namespace hub::host
