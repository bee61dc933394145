// SPDX-License-Identifier: Apache-2.0
#include "host/figures/summary_json.h"

#include "host/figures/figure_json.h"

namespace hub::host {
namespace {

// What is behind the figures of `rows` that a table has, and what it does not tell apart.
template <typename Table, typename AmountOf, typename IdsOf, typename FiguresOf>
FigureJson table_json(const Table& table, const AmountOf& amount_of, const IdsOf& ids_of_key,
                      const FiguresOf& figures_of) {
  FigureJson rows = FigureJson::array();
  for (const auto& row : table.rows_by(amount_of)) {
    FigureJson json = ids_of_key(row.key);
    json.update(figures_of(*row.figures));
    rows.push_back(std::move(json));
  }
  const auto* others = table.others();
  return {{"rows", std::move(rows)}, {"others", others != nullptr ? figures_of(*others) : FigureJson(nullptr)}};
}

FigureJson records_json(const CaptureSummary& summary, const RecordFigures& figures) {
  return {{"count", figures.count},
          {"share", known_or_null(summary.share_of(figures.count))},
          {"per_second", known_or_null(summary.per_second(figures.count))},
          {"first_us", figures.first_us},
          {"last_us", figures.last_us}};
}

FigureJson groups_json(const CaptureSummary& summary, Level level) {
  return table_json(
      summary.groups(level), [](const RecordFigures& figures) { return figures.count; },
      [level](GroupKey key) { return group_json(key, level); },
      [&summary](const RecordFigures& figures) { return records_json(summary, figures); });
}

// Null for each figure of no value at all.
FigureJson distribution_json(const DurationHistogram& histogram) {
  const auto figures = histogram.figures();
  const auto known = [&](std::uint64_t DurationFigures::*figure) {
    return figures ? FigureJson(*figures.*figure) : FigureJson(nullptr);
  };
  return {{"count", histogram.count()},
          {"min", known(&DurationFigures::min)},
          {"p50", known(&DurationFigures::p50)},
          {"p95", known(&DurationFigures::p95)},
          {"p99", known(&DurationFigures::p99)},
          {"max", known(&DurationFigures::max)},
          {"percentiles_exact", !figures || figures->percentiles_exact}};
}

FigureJson durations_json(const DurationHistogram& histogram) {
  FigureJson json = distribution_json(histogram);
  json["total"] = histogram.sum();
  return json;
}

FigureJson event_durations_json(const CaptureSummary& summary) {
  return table_json(
      summary.event_durations(), [](const DurationHistogram& durations) { return durations.sum(); },
      [](GroupKey key) { return group_json(key, Level::kEvent); }, durations_json);
}

FigureJson functions_json(const CaptureSummary& summary) {
  return table_json(
      summary.functions(), [](const FunctionFigures& function) { return function.durations.sum(); }, function_json,
      [](const FunctionFigures& function) {
        FigureJson json = durations_json(function.durations);
        json["thread_total"] = known_or_null(function.thread_total);
        return json;
      });
}

FigureJson press_json(const ButtonPress& press) {
  FigureJson json = {{"number", press.number}};
  for (const PressOutcomeName& outcome : kPressOutcomes) {
    if (outcome.outcome == press.outcome()) {
      json["outcome"] = outcome.key;
    }
  }
  FigureJson& times_us = json["times_us"] = FigureJson::object();
  for (const CheckpointName& checkpoint : kCheckpointNames) {
    times_us[std::string(checkpoint.key)] = known_or_null(press.time_us(checkpoint.checkpoint));
  }
  FigureJson& latencies_us = json["latencies_us"] = FigureJson::object();
  for (const Latency& latency : kLatencies) {
    latencies_us[std::string(latency.key)] = known_or_null(press.latency_us(latency));
  }
  return json;
}

FigureJson presses_json(const ButtonPresses& presses) {
  FigureJson json = {{"count", presses.count()}};
  FigureJson& outcomes = json["outcomes"] = FigureJson::object();
  for (const PressOutcomeName& outcome : kPressOutcomes) {
    outcomes[std::string(outcome.key)] = presses.count(outcome.outcome);
  }
  json["stray_checkpoints"] = presses.stray_checkpoints();
  json["backward_latencies"] = presses.backward_latencies();
  FigureJson& latencies_us = json["latencies_us"] = FigureJson::object();
  for (std::size_t row = 0; row < kLatencyCount; ++row) {
    latencies_us[std::string(kLatencies[row].key)] = distribution_json(presses.latency(row));
  }
  json["listed"] = FigureJson::array();
  for (const ButtonPress& press : presses.kept()) {
    json["listed"].push_back(press_json(press));
  }
  return json;
}

FigureJson loss_json(const LossCounts& loss) {
  FigureJson json = FigureJson::object();
  for (const LossItem& item : kLossItems) {
    json[std::string(item.key)] = loss.*item.count;
  }
  return json;
}

}  // namespace

std::string summary_json(const CaptureSummary& summary) {
  const RecordFigures& records = summary.records();
  const bool has_times = records.count > 0;
  return document_text({{"format", "hub-profile-summary/1"},
                        {"records", records.count},
                        {"bytes", summary.size_bytes()},
                        {"per_second", known_or_null(summary.per_second(records.count))},
                        {"first_us", has_times ? FigureJson(records.first_us) : FigureJson(nullptr)},
                        {"last_us", has_times ? FigureJson(records.last_us) : FigureJson(nullptr)},
                        {"span_us", known_or_null(summary.span_us())},
                        {"loss", loss_json(summary.loss())},
                        {"categories", groups_json(summary, Level::kCategory)},
                        {"components", groups_json(summary, Level::kComponent)},
                        {"events", groups_json(summary, Level::kEvent)},
                        {"event_durations", event_durations_json(summary)},
                        {"functions", functions_json(summary)},
                        {"presses", presses_json(summary.presses())}});
}

}  // namespace hub::host
