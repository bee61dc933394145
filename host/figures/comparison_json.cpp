// SPDX-License-Identifier: Apache-2.0
#include "host/figures/comparison_json.h"

#include "host/figures/figure_json.h"

namespace hub::host {
namespace {

FigureJson difference_json(const Change<double>& change) { return *change.b - *change.a; }

// Beyond what 64 bits hold with a sign, the nearest number that has a fraction.
FigureJson difference_json(const Change<std::uint64_t>& change) {
  const std::uint64_t magnitude = change.magnitude();
  if (!change.is_decrease()) {
    return magnitude;
  }
  return magnitude <= INT64_MAX ? FigureJson(-static_cast<std::int64_t>(magnitude))
                                : FigureJson(-static_cast<double>(magnitude));
}

template <typename Number>
FigureJson change_json(const std::optional<Number>& a, const std::optional<Number>& b) {
  const Change<Number> change{a, b};
  return {{"a", known_or_null(a)},
          {"b", known_or_null(b)},
          {"difference", change.known() ? difference_json(change) : FigureJson(nullptr)},
          {"percent", known_or_null(change.percent())}};
}

FigureJson changes_json(const GroupFigures& a, const GroupFigures& b) {
  return {{"count", change_json(a.count, b.count)},
          {"share", change_json(a.share, b.share)},
          {"per_second", change_json(a.per_second, b.per_second)}};
}

FigureJson spread_changes_json(const SpreadFigures& a, const SpreadFigures& b) {
  FigureJson json = FigureJson::object();
  for (const SpreadItem& item : kSpreadItems) {
    json[std::string(item.key)] = change_json(a.*item.figure, b.*item.figure);
  }
  json["percentiles_exact"] = {{"a", a.percentiles_exact}, {"b", b.percentiles_exact}};
  return json;
}

FigureJson changes_json(const SpreadFigures& a, const SpreadFigures& b) {
  FigureJson json = spread_changes_json(a, b);
  for (const SpreadItem& item : {kTotalItem, kThreadTotalItem}) {
    json[std::string(item.key)] = change_json(a.*item.figure, b.*item.figure);
  }
  json["total_per_second"] = change_json(a.total_per_second, b.total_per_second);
  return json;
}

class ComparisonJson {
 public:
  ComparisonJson(const NamedSummary& a, const NamedSummary& b)
      : names_({{"a", a.name}, {"b", b.name}}), a_(a.summary), b_(b.summary), change_(a_, b_) {}

  [[nodiscard]] std::string text() const {
    FigureJson json = {{"format", "hub-profile-comparison/1"}, {"names", names_}};
    for (const CaptureItem& item : kCaptureItems) {
      FigureJson& change = json[std::string(item.key)] = change_json(item.figure(a_), item.figure(b_));
      if (!item.is_amount) {
        change.erase("percent");
      }
    }
    json["per_second"] = change_json(a_.per_second(a_.records().count), b_.per_second(b_.records().count));
    FigureJson& loss = json["loss"] = FigureJson::object();
    for (const LossItem& item : kLossItems) {
      loss[std::string(item.key)] = change_json<std::uint64_t>(a_.loss().*item.count, b_.loss().*item.count);
    }
    json["categories"] = groups_json(Level::kCategory);
    json["components"] = groups_json(Level::kComponent);
    json["events"] = groups_json(Level::kEvent);
    json["event_durations"] = table_json(
        a_.event_durations(), b_.event_durations(), [](const DurationHistogram& durations) { return durations.sum(); },
        [](GroupKey key) { return group_json(key, Level::kEvent); });
    json["functions"] = table_json(
        a_.functions(), b_.functions(), [](const FunctionFigures& function) { return function.durations.sum(); },
        function_json);
    json["presses"] = presses_json();
    return document_text(json);
  }

 private:
  template <typename Table, typename AmountOf, typename IdsOf>
  [[nodiscard]] FigureJson table_json(const Table& a, const Table& b, const AmountOf& amount_of,
                                      const IdsOf& ids_of_key) const {
    FigureJson rows = FigureJson::array();
    for (const auto& row : compared_rows(a, b, change_, amount_of)) {
      FigureJson json = ids_of_key(row.key);
      json["in"] = row.a == nullptr ? "b" : row.b == nullptr ? "a" : "both";
      json["uncertain"] = row.uncertain;
      json.update(changes_json(figures_in(a_, row.a, row.uncertain), figures_in(b_, row.b, row.uncertain)));
      rows.push_back(std::move(json));
    }
    return {{"rows", std::move(rows)}, {"others", {{"a", others_json(a)}, {"b", others_json(b)}}}};
  }

  // What is counted together need not be the same in both: there is nothing to compare.
  template <typename Table>
  static FigureJson others_json(const Table& table) {
    return table.others() != nullptr ? FigureJson(count_of(*table.others())) : FigureJson(0);
  }

  static std::uint64_t count_of(const RecordFigures& figures) { return figures.count; }
  static std::uint64_t count_of(const DurationHistogram& durations) { return durations.count(); }
  static std::uint64_t count_of(const FunctionFigures& function) { return function.durations.count(); }

  [[nodiscard]] FigureJson groups_json(Level level) const {
    return table_json(
        a_.groups(level), b_.groups(level), [](const RecordFigures& figures) { return figures.count; },
        [level](GroupKey key) { return group_json(key, level); });
  }

  [[nodiscard]] FigureJson presses_json() const {
    FigureJson json = FigureJson::object();
    const std::vector<PressItem> items_of_b = press_items(b_.presses());
    std::size_t index = 0;
    for (const PressItem& item : press_items(a_.presses())) {
      json[item.key] = change_json<std::uint64_t>(item.count, items_of_b[index].count);
      ++index;
    }
    FigureJson& latencies = json["latencies_us"] = FigureJson::object();
    for (std::size_t row = 0; row < kLatencyCount; ++row) {
      latencies[std::string(kLatencies[row].key)] =
          spread_changes_json(figures_in(a_, &a_.presses().latency(row)), figures_in(b_, &b_.presses().latency(row)));
    }
    return json;
  }

  FigureJson names_;
  const CaptureSummary& a_;
  const CaptureSummary& b_;
  AmountOfChange change_;
};

}  // namespace

std::string comparison_json(const NamedSummary& a, const NamedSummary& b) { return ComparisonJson(a, b).text(); }

}  // namespace hub::host
