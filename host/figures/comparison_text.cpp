// SPDX-License-Identifier: Apache-2.0
#include "host/figures/comparison_text.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "host/figures/figure_text.h"
#include "host/figures/text_table.h"
#include "host/text/printable_text.h"

namespace hub::host {
namespace {

using Cells = std::vector<std::string>;

// The text of a magnitude with its sign; one that is too little to be shown is 0.0.
std::string signed_text(const char* sign, const std::string& text) {
  constexpr std::string_view kLittle = "<0.1";
  return sign + (text.starts_with(kLittle) ? "0.0" + text.substr(kLittle.size()) : text);
}

std::string percent_text(std::optional<double> percent) {
  constexpr double kMostShown = 9999;
  constexpr double kAll = 100;
  if (!percent) {
    return kUnknown;
  }
  const double magnitude = std::abs(*percent);
  if (magnitude > kMostShown) {
    return ">9999%";
  }
  return signed_text(*percent > 0 ? "+" : *percent < 0 ? "-" : "", share_text(magnitude / kAll));
}

template <typename Number>
using TextOf = std::string (*)(std::optional<Number>);

template <typename Number>
std::string difference_text(const Change<Number>& change, TextOf<Number> text_of) {
  if (!change.known()) {
    return kUnknown;
  }
  return signed_text(change.magnitude() == 0 ? "" : change.is_decrease() ? "-" : "+", text_of(change.magnitude()));
}

// The four cells of a figure.
template <typename Number>
void append_change(Cells& cells, const std::optional<Number>& a, const std::optional<Number>& b,
                   TextOf<Number> text_of) {
  const Change<Number> change{a, b};
  cells.insert(cells.end(), {text_of(a), text_of(b), difference_text(change, text_of), percent_text(change.percent())});
}

// Their columns. The difference matters less than the percentage.
void append_columns(std::vector<TextColumn>& columns, const std::string& figure, unsigned rank,
                    unsigned rank_of_difference) {
  const std::string prefix = figure.empty() ? "" : figure + " ";
  columns.insert(
      columns.end(),
      {{prefix + "A", rank}, {prefix + "B", rank}, {prefix + "B-A", rank_of_difference}, {prefix + "%", rank}});
}

// Where in the cells of a row the percentage of its first figure stands.
constexpr std::size_t kFirstPercent = 4;
constexpr std::size_t kCellsPerFigure = 4;

// A figure in a table, and when its columns leave.
struct RankedItem {
  SpreadItem item;
  unsigned rank;
};

constexpr RankedItem kDurationColumns[] = {
    {{"p95", &SpreadFigures::p95}, 1}, {{"count", &SpreadFigures::count}, 2}, {{"p50", &SpreadFigures::p50}, 3},
    {{"max", &SpreadFigures::max}, 4}, {{"p99", &SpreadFigures::p99}, 5},
};

constexpr RankedItem kLatencyColumns[] = {
    {{"p95", &SpreadFigures::p95}, 1},
    {{"max", &SpreadFigures::max}, 2},
    {{"count", &SpreadFigures::count}, 3},
    {{"p99", &SpreadFigures::p99}, 4},
};

constexpr unsigned kRankOfDifferences = 6;

// Columns of rows whose first figure stands in the heading.
std::vector<TextColumn> columns_of(const std::string& rows, const std::string& figure, unsigned rank_of_difference) {
  std::vector<TextColumn> columns = {{rows + ", " + figure}};
  append_columns(columns, "", 0, rank_of_difference);
  return columns;
}

template <std::size_t count>
std::vector<TextColumn> spread_columns(const std::string& rows, const std::string& figure,
                                       const RankedItem (&items)[count]) {
  std::vector<TextColumn> columns = columns_of(rows, figure, kRankOfDifferences);
  for (const RankedItem& ranked : items) {
    append_columns(columns, std::string(ranked.item.key), ranked.rank, kRankOfDifferences + ranked.rank);
  }
  return columns;
}

class ComparisonText {
 public:
  ComparisonText(const NamedSummary& a, const NamedSummary& b, std::size_t width, std::size_t rows_shown)
      : a_(a.summary), b_(b.summary), change_(a_, b_), width_(width), rows_shown_(rows_shown) {
    add_name("A", a.name);
    add_name("B", b.name);
  }

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
    add_notes();
    return std::move(text_);
  }

 private:
  void add_name(const std::string& letter, std::string_view name) {
    const std::string prefix = letter + "  ";
    text_ += prefix + shortened(printable(name), std::max(width_, prefix.size()) - prefix.size()) + "\n";
  }

  void add(const TextTable& table) {
    if (!table.empty()) {
      text_ += "\n" + table.text(width_);
    }
  }

  static TextTable table_of_counts(const std::string& heading) {
    std::vector<TextColumn> columns = {{heading}};
    append_columns(columns, "", 0, 1);
    return TextTable(std::move(columns));
  }

  static void add_count(TextTable& table, std::string_view name, std::uint64_t a, std::uint64_t b) {
    Cells cells = {std::string(name)};
    append_change<std::uint64_t>(cells, a, b, count_text);
    table.add_row(std::move(cells));
  }

  void add_capture() {
    TextTable table = table_of_counts("capture");
    for (const CaptureItem& item : kCaptureItems) {
      Cells cells = {std::string(item.heading)};
      append_change(cells, item.figure(a_), item.figure(b_), item.is_time ? seconds_text : count_text);
      if (!item.is_amount) {
        cells[kFirstPercent] = kUnknown;
      }
      table.add_row(std::move(cells));
    }
    Cells cells = {"records/s"};
    append_change(cells, a_.per_second(a_.records().count), b_.per_second(b_.records().count), rate_text);
    table.add_row(std::move(cells));
    add(table);
  }

  void add_loss() {
    if (a_.loss() == LossCounts() && b_.loss() == LossCounts()) {
      text_ += "\nno loss known\n";
      return;
    }
    TextTable table = table_of_counts("loss");
    for (const LossItem& item : kLossItems) {
      add_count(table, item.heading, a_.loss().*item.count, b_.loss().*item.count);
    }
    add(table);
  }

  // The rows that changed most, then all that are not shown in one, then what the tables do not tell apart.
  template <typename Figures, typename Table, typename AmountOf, typename NameOf, typename CellsOf>
  void add_rows(TextTable table, const Table& a, const Table& b, const AmountOf& amount_of, const NameOf& name_of,
                const CellsOf& cells_of) {
    const auto rows = compared_rows(a, b, change_, amount_of);
    const std::size_t shown = std::min(rows.size(), rows_shown_);
    for (std::size_t index = 0; index < shown; ++index) {
      const auto& row = rows[index];
      Cells cells =
          cells_of(name_of(row.key), figures_in(a_, row.a, row.uncertain), figures_in(b_, row.b, row.uncertain));
      if (row.a == nullptr || row.b == nullptr) {
        has_uncertain_ = has_uncertain_ || row.uncertain;
        cells[kFirstPercent] = std::string(row.a != nullptr ? "only A" : "only B") + (row.uncertain ? "?" : "");
      }
      table.add_row(std::move(cells));
    }
    if (shown < rows.size()) {
      table.add_row(cells_of(more_text(rows.size() - shown),
                             figures_of_rest<Figures>(a_, rows, shown, [](const auto& row) { return row.a; }),
                             figures_of_rest<Figures>(b_, rows, shown, [](const auto& row) { return row.b; })));
    }
    if (a.others() != nullptr || b.others() != nullptr) {
      has_others_ = true;
      Cells cells = cells_of(kOthersText, figures_in(a_, a.others()), figures_in(b_, b.others()));
      remove_comparison(cells);
      table.add_row(std::move(cells));
    }
    add(table);
  }

  // Others need not be the same in both captures: there is nothing to compare.
  static void remove_comparison(Cells& cells) {
    for (std::size_t percent = kFirstPercent; percent < cells.size(); percent += kCellsPerFigure) {
      cells[percent - 1] = kUnknown;
      cells[percent] = kUnknown;
    }
  }

  // Not known where one of the rows is not.
  template <typename Figures, typename Rows, typename InCapture>
  static auto figures_of_rest(const CaptureSummary& summary, const Rows& rows, std::size_t first,
                              const InCapture& in_capture) {
    Figures rest;
    for (std::size_t index = first; index < rows.size(); ++index) {
      if (const Figures* figures = in_capture(rows[index])) {
        rest.add_all_of(*figures);
      } else if (rows[index].uncertain) {
        return figures_in(summary, static_cast<const Figures*>(nullptr), true);
      }
    }
    return figures_in(summary, &rest);
  }

  // What rows are sorted by comes first.
  void add_groups(Level level) {
    const bool by_time = change_.by_time();
    std::vector<TextColumn> columns = columns_of(level_text(level), by_time ? "per s" : "count", 3);
    append_columns(columns, by_time ? "count" : "per s", 1, 4);
    append_columns(columns, "share", 2, 5);
    add_rows<RecordFigures>(
        TextTable(std::move(columns)), a_.groups(level), b_.groups(level),
        [](const RecordFigures& figures) { return figures.count; },
        [level](GroupKey key) { return group_text(key, level); },
        [by_time](std::string name, const GroupFigures& a, const GroupFigures& b) {
          Cells cells = {std::move(name)};
          if (by_time) {
            append_change(cells, a.per_second, b.per_second, rate_text);
          }
          append_change(cells, a.count, b.count, count_text);
          if (!by_time) {
            append_change(cells, a.per_second, b.per_second, rate_text);
          }
          append_change(cells, a.share, b.share, share_text);
          return cells;
        });
  }

  template <std::size_t count>
  void append_spread(Cells& cells, const SpreadFigures& a, const SpreadFigures& b, const RankedItem (&items)[count],
                     TextOf<std::uint64_t> text_of) {
    has_estimates_ = has_estimates_ || !a.percentiles_exact || !b.percentiles_exact;
    for (const RankedItem& ranked : items) {
      const bool is_count = ranked.item.figure == &SpreadFigures::count;
      append_change(cells, a.*ranked.item.figure, b.*ranked.item.figure, is_count ? count_text : text_of);
    }
  }

  [[nodiscard]] TextTable duration_table(const std::string& rows) const {
    return TextTable(spread_columns(rows, change_.by_time() ? "total/s" : "total", kDurationColumns));
  }

  Cells duration_cells(std::string name, const SpreadFigures& a, const SpreadFigures& b) {
    Cells cells = {std::move(name)};
    if (change_.by_time()) {
      append_change(cells, a.total_per_second, b.total_per_second, rate_text);
    } else {
      append_change(cells, a.total, b.total, count_text);
    }
    append_spread(cells, a, b, kDurationColumns, count_text);
    return cells;
  }

  void add_event_durations() {
    add_rows<DurationHistogram>(
        duration_table("durations"), a_.event_durations(), b_.event_durations(),
        [](const DurationHistogram& durations) { return durations.sum(); },
        [](GroupKey key) { return group_text(key, Level::kEvent); },
        [this](const std::string& name, const auto& a, const auto& b) { return duration_cells(name, a, b); });
  }

  void add_functions() {
    add_rows<FunctionFigures>(
        duration_table("function"), a_.functions(), b_.functions(),
        [](const FunctionFigures& function) { return function.durations.sum(); }, function_text,
        [this](const std::string& name, const auto& a, const auto& b) { return duration_cells(name, a, b); });
  }

  void add_press_counts() {
    TextTable table = table_of_counts("button presses");
    const std::vector<PressItem> of_a = press_items(a_.presses());
    const std::vector<PressItem> of_b = press_items(b_.presses());
    bool has_any = false;
    for (std::size_t index = 0; index < of_a.size(); ++index) {
      has_any = has_any || of_a[index].count + of_b[index].count > 0;
      add_count(table, of_a[index].heading, of_a[index].count, of_b[index].count);
    }
    if (has_any) {
      add(table);
    }
  }

  void add_latencies() {
    TextTable table(spread_columns("latency (s)", "p50", kLatencyColumns));
    for (std::size_t row = 0; row < kLatencyCount; ++row) {
      const DurationHistogram& of_a = a_.presses().latency(row);
      const DurationHistogram& of_b = b_.presses().latency(row);
      if (of_a.count() + of_b.count() > 0) {
        const SpreadFigures a = figures_in(a_, &of_a);
        const SpreadFigures b = figures_in(b_, &of_b);
        Cells cells = {std::string(kLatencies[row].heading)};
        append_change(cells, a.p50, b.p50, seconds_text);
        append_spread(cells, a, b, kLatencyColumns, seconds_text);
        table.add_row(std::move(cells));
      }
    }
    add(table);
  }

  void add_notes() {
    std::string notes;
    if (has_estimates_) {
      notes += wrapped(estimates_note(), width_);
    }
    if (has_others_) {
      notes += wrapped(others_note(), width_);
    }
    if (has_uncertain_) {
      notes += wrapped("only A?, only B?: the other capture may have it among its (others).", width_);
    }
    text_ += notes.empty() ? "" : "\n" + notes;
  }

  const CaptureSummary& a_;
  const CaptureSummary& b_;
  AmountOfChange change_;
  std::size_t width_;
  std::size_t rows_shown_;
  bool has_estimates_ = false;
  bool has_others_ = false;
  bool has_uncertain_ = false;
  std::string text_;
};

}  // namespace

std::string comparison_text(const NamedSummary& a, const NamedSummary& b, std::size_t width, std::size_t rows_shown) {
  return ComparisonText(a, b, width, rows_shown).text();
}

}  // namespace hub::host
