// SPDX-License-Identifier: Apache-2.0
#include "host/figures/summary_text.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "host/figures/figure_text.h"
#include "host/figures/text_table.h"
#include "host/text/printable_text.h"

namespace hub::host {
namespace {

using Cells = std::vector<std::string>;

class SummaryText {
 public:
  SummaryText(const CaptureSummary& summary, std::size_t width, std::size_t rows_shown)
      : summary_(summary), width_(width), rows_shown_(rows_shown) {}

  std::string text() {
    add_capture();
    add_loss();
    for (const Level level : {Level::kCategory, Level::kComponent, Level::kEvent}) {
      add_groups(level);
    }
    add_event_durations();
    add_functions();
    add_press_counts();
    add_latencies();
    add_presses();
    add_notes();
    return std::move(text_);
  }

 private:
  void begin_part() { text_ += text_.empty() ? "" : "\n"; }

  // A table without rows is left out.
  void add(const TextTable& table) {
    if (!table.empty()) {
      begin_part();
      text_ += table.text(width_);
    }
  }

  void add_sentence(std::string_view sentence) {
    begin_part();
    text_ += wrapped(sentence, width_);
  }

  // The rows with the largest amounts, then all that are not shown in one, then what the figures do not tell apart.
  template <typename Figures, typename Figured, typename AmountOf, typename NameOf, typename CellsOf>
  void add_rows(TextTable table, const Figured& figured, const AmountOf& amount_of, const NameOf& name_of,
                const CellsOf& cells_of) {
    const auto rows = figured.rows_by(amount_of);
    const std::size_t shown = std::min(rows.size(), rows_shown_);
    Figures more;
    for (std::size_t index = 0; index < rows.size(); ++index) {
      if (index < shown) {
        table.add_row(cells_of(name_of(rows[index].key), *rows[index].figures));
      } else {
        more.add_all_of(*rows[index].figures);
      }
    }
    if (shown < rows.size()) {
      table.add_row(cells_of(more_text(rows.size() - shown), more));
    }
    if (const Figures* others = figured.others()) {
      has_others_ = true;
      table.add_row(cells_of(kOthersText, *others));
    }
    add(table);
  }

  DurationFigures figures_of(const DurationHistogram& durations) {
    const DurationFigures figures = durations.figures().value_or(DurationFigures());
    has_estimates_ = has_estimates_ || !figures.percentiles_exact;
    return figures;
  }

  void add_capture() {
    const RecordFigures& records = summary_.records();
    const bool has_times = records.count > 0;
    TextTable table({{"capture"}, {""}});
    table.add_row({"records", count_text(records.count)});
    table.add_row({"bytes", count_text(summary_.size_bytes())});
    table.add_row({"records/s", rate_text(summary_.per_second(records.count))});
    table.add_row({"first (s)", has_times ? seconds_text(records.first_us) : kUnknown});
    table.add_row({"last (s)", has_times ? seconds_text(records.last_us) : kUnknown});
    table.add_row({"span (s)", seconds_text(summary_.span_us())});
    add(table);
  }

  void add_loss() {
    if (summary_.loss() == LossCounts()) {
      add_sentence("no loss known");
      return;
    }
    TextTable table({{"loss"}, {""}});
    for (const LossItem& item : kLossItems) {
      table.add_row({std::string(item.heading), count_text(summary_.loss().*item.count)});
    }
    add(table);
  }

  void add_groups(Level level) {
    add_rows<RecordFigures>(
        TextTable({{level_text(level)}, {"count"}, {"share", 1}, {"per s", 2}, {"first (s)", 3}, {"last (s)", 3}}),
        summary_.groups(level), [](const RecordFigures& figures) { return figures.count; },
        [level](GroupKey key) { return group_text(key, level); },
        [this](std::string name, const RecordFigures& figures) -> Cells {
          return {std::move(name),
                  count_text(figures.count),
                  share_text(summary_.share_of(figures.count)),
                  rate_text(summary_.per_second(figures.count)),
                  seconds_text(figures.first_us),
                  seconds_text(figures.last_us)};
        });
  }

  void add_event_durations() {
    add_rows<DurationHistogram>(
        TextTable(
            {{"duration of"}, {"count", 3}, {"total", 4}, {"min", 6}, {"p50", 1}, {"p95"}, {"p99", 5}, {"max", 2}}),
        summary_.event_durations(), [](const DurationHistogram& durations) { return durations.sum(); },
        [](GroupKey key) { return group_text(key, Level::kEvent); },
        [this](std::string name, const DurationHistogram& durations) -> Cells {
          const DurationFigures figures = figures_of(durations);
          return {std::move(name),         count_text(figures.count), count_text(figures.sum), count_text(figures.min),
                  count_text(figures.p50), count_text(figures.p95),   count_text(figures.p99), count_text(figures.max)};
        });
  }

  void add_functions() {
    add_rows<FunctionFigures>(
        TextTable({{"function"},
                   {"calls", 1},
                   {"total"},
                   {"thread total", 7},
                   {"min", 6},
                   {"p50", 3},
                   {"p95", 2},
                   {"p99", 5},
                   {"max", 4}}),
        summary_.functions(), [](const FunctionFigures& function) { return function.durations.sum(); }, function_text,
        [this](std::string name, const FunctionFigures& function) -> Cells {
          const DurationFigures figures = figures_of(function.durations);
          return {std::move(name),         count_text(figures.count),
                  count_text(figures.sum), count_text(function.thread_total),
                  count_text(figures.min), count_text(figures.p50),
                  count_text(figures.p95), count_text(figures.p99),
                  count_text(figures.max)};
        });
  }

  void add_press_counts() {
    const ButtonPresses& presses = summary_.presses();
    if (presses.count() + presses.stray_checkpoints() == 0) {
      return;
    }
    TextTable table({{"button presses"}, {""}});
    table.add_row({"all", count_text(presses.count())});
    for (const PressOutcomeName& outcome : kPressOutcomes) {
      table.add_row({std::string(outcome.heading), count_text(presses.count(outcome.outcome))});
    }
    if (presses.stray_checkpoints() > 0) {
      table.add_row({"checkpoints outside", count_text(presses.stray_checkpoints())});
    }
    if (presses.backward_latencies() > 0) {
      table.add_row({"latencies below zero", count_text(presses.backward_latencies())});
    }
    add(table);
  }

  void add_latencies() {
    TextTable table({{"latency (s)"}, {"count", 3}, {"min", 5}, {"p50"}, {"p95", 1}, {"p99", 4}, {"max", 2}});
    for (std::size_t row = 0; row < kLatencyCount; ++row) {
      const DurationHistogram& latency = summary_.presses().latency(row);
      if (latency.count() > 0) {
        const DurationFigures figures = figures_of(latency);
        table.add_row({std::string(kLatencies[row].heading), count_text(figures.count), seconds_text(figures.min),
                       seconds_text(figures.p50), seconds_text(figures.p95), seconds_text(figures.p99),
                       seconds_text(figures.max)});
      }
    }
    add(table);
  }

  void add_presses() {
    std::vector<TextColumn> columns = {{"press"}, {"outcome"}};
    static constexpr const char* kLatencyHeadings[kLatencyCount] = {"to button", "to haptics", "to asset",
                                                                    "button to asset"};
    static constexpr unsigned kLatencyRanks[kLatencyCount] = {2, 3, 1, 4};
    for (std::size_t row = 0; row < kLatencyCount; ++row) {
      columns.push_back({kLatencyHeadings[row], kLatencyRanks[row]});
    }
    for (const CheckpointName& checkpoint : kCheckpointNames) {
      columns.push_back({std::string(checkpoint.heading), checkpoint.checkpoint == Checkpoint::kFingerOn ? 5U : 6U});
    }
    TextTable table(std::move(columns));
    for (const ButtonPress& press : summary_.presses().kept()) {
      table.add_row(press_cells(press));
    }
    add(table);
    const std::uint64_t count = summary_.presses().count();
    if (summary_.presses().kept().size() < count) {
      const std::string kept = number_text(ButtonPresses::kKept);
      add_note("Presses shown: the first " + kept + ", the slowest " + kept + " and the first " + kept +
               " that are not complete.");
    }
  }

  static Cells press_cells(const ButtonPress& press) {
    Cells cells = {count_text(press.number)};
    for (const PressOutcomeName& outcome : kPressOutcomes) {
      if (outcome.outcome == press.outcome()) {
        cells.emplace_back(outcome.heading);
      }
    }
    for (const Latency& latency : kLatencies) {
      cells.push_back(seconds_text(press.latency_us(latency)));
    }
    for (const CheckpointName& checkpoint : kCheckpointNames) {
      cells.push_back(seconds_text(press.time_us(checkpoint.checkpoint)));
    }
    return cells;
  }

  void add_note(std::string note) { notes_.push_back(std::move(note)); }

  void add_notes() {
    const LossCounts& loss = summary_.loss();
    if (loss.clock_backwards + loss.restarts > 0) {
      add_note("The clock went backwards: the span reaches from the smallest time to the largest.");
    }
    if (has_estimates_) {
      add_note(estimates_note());
    }
    if (has_others_) {
      add_note(others_note());
    }
    if (notes_.empty()) {
      return;
    }
    begin_part();
    for (const std::string& note : notes_) {
      text_ += wrapped(note, width_);
    }
  }

  const CaptureSummary& summary_;
  std::size_t width_;
  std::size_t rows_shown_;
  bool has_estimates_ = false;
  bool has_others_ = false;
  std::vector<std::string> notes_;
  std::string text_;
};

}  // namespace

std::string summary_text(const CaptureSummary& summary, std::size_t width, std::size_t rows_shown) {
  return SummaryText(summary, width, rows_shown).text();
}

}  // namespace hub::host
