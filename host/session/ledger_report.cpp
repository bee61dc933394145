// SPDX-License-Identifier: Apache-2.0
#include "host/session/ledger_report.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/text/printable_text.h"

namespace hub::host {
namespace {

using platform::LedgerContents;

using Row = std::vector<std::string>;

std::vector<std::size_t> widths_of(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], width_of(row[column]));
    }
  }
  return widths;
}

// The first column stands at the left, the others, numbers, at the right.
void append_table(const std::vector<Row>& rows, std::string& text) {
  const std::vector<std::size_t> widths = widths_of(rows);
  for (const Row& row : rows) {
    text += row[0];
    text.append(widths[0] - width_of(row[0]), ' ');
    for (std::size_t column = 1; column < row.size(); ++column) {
      text.append(2 + widths[column] - width_of(row[column]), ' ');
      text += row[column];
    }
    text += '\n';
  }
}

std::string scalars_text(const LedgerContents& contents) {
  if (contents.scalars.empty()) {
    return "no scalars\n";
  }
  std::vector<Row> rows = {{"scalar", "value"}};
  for (const auto& [key, value] : contents.scalars) {
    rows.push_back({printable(key), number_text(value)});
  }
  std::string text;
  append_table(rows, text);
  return text;
}

std::string distributions_text(const LedgerContents& contents) {
  if (contents.distributions.empty()) {
    return "no distributions\n";
  }
  std::vector<Row> rows = {{"distribution", "count", "min", "mean", "max"}};
  for (const auto& [key, summary] : contents.distributions) {
    rows.push_back({printable(key), number_text(summary.count), number_text(summary.min), number_text(summary.mean),
                    number_text(summary.max)});
  }
  std::string text;
  append_table(rows, text);
  return text;
}

using Json = nlohmann::ordered_json;

// The values under the keys of a map. The keys differ already: looking for each among those before it would take long.
template <typename Map, typename JsonOf>
Json object_of(const Map& map, const JsonOf& json_of) {
  Json::object_t members;
  for (const auto& [key, value] : map) {
    members.push_back({key, json_of(value)});
  }
  return members;
}

}  // namespace

std::string ledger_text(const LedgerContents& contents) {
  return scalars_text(contents) + "\n" + distributions_text(contents);
}

std::string ledger_json(const LedgerContents& contents) {
  const Json json = {
      {"format", "hub-ledger/1"},
      {"scalars", object_of(contents.scalars, [](std::int64_t value) { return Json(value); })},
      {"distributions",
       object_of(
           contents.distributions,
           [](const platform::DistributionSummary& summary) {
             return Json{{"count", summary.count}, {"min", summary.min}, {"mean", summary.mean}, {"max", summary.max}};
           })},
  };
  constexpr int kIndent = 2;
  return json.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace hub::host
