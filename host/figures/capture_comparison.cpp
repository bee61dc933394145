// SPDX-License-Identifier: Apache-2.0
#include "host/figures/capture_comparison.h"

namespace hub::host {
namespace {

using Known = std::optional<std::uint64_t>;

Known records_of(const CaptureSummary& summary) { return summary.records().count; }
Known bytes_of(const CaptureSummary& summary) { return summary.size_bytes(); }
Known first_of(const CaptureSummary& summary) {
  return summary.records().count > 0 ? Known(summary.records().first_us) : std::nullopt;
}
Known last_of(const CaptureSummary& summary) {
  return summary.records().count > 0 ? Known(summary.records().last_us) : std::nullopt;
}
Known span_of(const CaptureSummary& summary) { return summary.span_us(); }

}  // namespace

const CaptureItem kCaptureItems[kCaptureItemCount] = {
    {"records", "records", false, true, records_of},  {"bytes", "bytes", false, true, bytes_of},
    {"first_us", "first (s)", true, false, first_of}, {"last_us", "last (s)", true, false, last_of},
    {"span_us", "span (s)", true, true, span_of},
};

GroupFigures figures_in(const CaptureSummary& summary, const RecordFigures* figures, bool uncertain) {
  if (figures == nullptr && uncertain) {
    return {};
  }
  const std::uint64_t count = figures != nullptr ? figures->count : 0;
  return {count, summary.per_second(count), summary.share_of(count)};
}

SpreadFigures figures_in(const CaptureSummary& summary, const DurationHistogram* figures, bool uncertain) {
  SpreadFigures spread;
  const auto found = figures != nullptr ? figures->figures() : std::nullopt;
  if (found) {
    spread.min = found->min;
    spread.p50 = found->p50;
    spread.p95 = found->p95;
    spread.p99 = found->p99;
    spread.max = found->max;
    spread.percentiles_exact = found->percentiles_exact;
  }
  if (figures != nullptr || !uncertain) {
    spread.count = found ? found->count : 0;
    spread.total = found ? found->sum : 0;
    spread.total_per_second = summary.per_second(*spread.total);
  }
  return spread;
}

SpreadFigures figures_in(const CaptureSummary& summary, const FunctionFigures* figures, bool uncertain) {
  SpreadFigures spread = figures_in(summary, figures != nullptr ? &figures->durations : nullptr, uncertain);
  if (figures != nullptr) {
    spread.thread_total = figures->thread_total;
  }
  return spread;
}

std::vector<PressItem> press_items(const ButtonPresses& presses) {
  std::vector<PressItem> items = {{"count", "all", presses.count()}};
  for (const PressOutcomeName& outcome : kPressOutcomes) {
    items.push_back({std::string(outcome.key), std::string(outcome.heading), presses.count(outcome.outcome)});
  }
  items.push_back({"stray_checkpoints", "checkpoints outside", presses.stray_checkpoints()});
  items.push_back({"backward_latencies", "latencies below zero", presses.backward_latencies()});
  return items;
}

}  // namespace hub::host
