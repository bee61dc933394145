// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_names.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <span>

#include "profile/catalogue.h"
#include "profile/core_payloads.h"

namespace hub::host {

using profile::Category;
using profile::category_of;
using profile::ComponentNames;
using profile::NameTable;
using Report = _HubProfileReport;

namespace {

NameTable table_among(std::span<const ComponentNames> rows, unsigned int component_id) {
  for (const ComponentNames& row : rows) {
    if (row.component_id == profile::kAny || static_cast<unsigned int>(row.component_id) == component_id) {
      return *row.names;
    }
  }
  return {};
}

NameTable category_names(const Report& /*report*/) { return profile::kCategoryNames; }
NameTable type_names(const Report& /*report*/) { return profile::kTypeNames; }

NameTable component_names(const Report& report) {
  const Category& category = category_of(report);
  return category.components != nullptr ? *category.components : NameTable();
}

NameTable event_names(const Report& report) {
  const Category& category = category_of(report);
  return table_among(category.events, report.component_id);
}

NameTable subtype_names(const Report& report) {
  const Category& category = category_of(report);
  return table_among(category.subtypes, report.component_id);
}

struct KindRow {
  NameKind kind;
  std::string_view word;
  NameTable (*table_of)(const Report& report);  // in which a record's id of this kind has its name; empty: it has none
};

// clang-format off
constexpr KindRow kKinds[] = {
    {NameKind::kCategory,  "category",  category_names},
    {NameKind::kComponent, "component", component_names},
    {NameKind::kEvent,     "event",     event_names},
    {NameKind::kType,      "type",      type_names},
    {NameKind::kSubtype,   "subtype",   subtype_names},
};
// clang-format on

const KindRow& row_of(NameKind kind) {
  return *std::find_if(std::begin(kKinds), std::end(kKinds), [kind](const KindRow& row) { return row.kind == kind; });
}

bool is_same(const NameTable& one, const NameTable& other) { return one.rows().data() == other.rows().data(); }

std::vector<NameTable> find_tables(NameTable (*table_of)(const Report& report)) {
  constexpr unsigned kComponents = 256;
  std::vector<NameTable> tables;
  const auto add = [&tables](NameTable table) {
    if (!table.rows().empty() &&
        std::none_of(tables.begin(), tables.end(), [table](NameTable known) { return is_same(known, table); })) {
      tables.push_back(table);
    }
  };
  for (const Category* category : profile::kCategories) {
    for (unsigned component = 0; component < kComponents; ++component) {
      Report report{};
      report.category_id = static_cast<std::uint8_t>(category->id);
      report.component_id = static_cast<std::uint8_t>(component);
      add(table_of(report));
    }
  }
  return tables;
}

// Every table of a kind, once. A record of each category and component tells them all, which takes long: they are
// looked for at the first question.
const std::vector<NameTable>& tables_of(NameKind kind) {
  static const std::map<NameKind, std::vector<NameTable>> tables = [] {
    std::map<NameKind, std::vector<NameTable>> found;
    for (const KindRow& row : kKinds) {
      found.emplace(row.kind, find_tables(row.table_of));
    }
    return found;
  }();
  return tables.at(kind);
}

}  // namespace

NameKind name_kind_of(const RecordField& field) {
  for (const KindRow& row : kKinds) {
    if (row.word == field.name()) {
      return row.kind;
    }
  }
  return NameKind::kSubtype;
}

std::string_view word_for(NameKind kind) { return row_of(kind).word; }

std::vector<std::string> all_names_of(NameKind kind) {
  std::set<std::string> names;
  for (const NameTable table : tables_of(kind)) {
    for (const profile_decoder::entry& entry : table.rows()) {
      names.emplace(entry.name);
    }
  }
  return {names.begin(), names.end()};
}

NameChoice::NameChoice(NameKind kind, const std::function<bool(std::string_view name)>& is_chosen)
    : table_of_(row_of(kind).table_of) {
  for (const NameTable table : tables_of(kind)) {
    tables_.push_back(choose(table, is_chosen));
  }
}

// Of an id that stands twice, the first row counts.
NameChoice::Table NameChoice::choose(NameTable names, const std::function<bool(std::string_view name)>& is_chosen) {
  Table table{names.rows().data(), {}};
  for (const profile_decoder::entry& entry : names.rows()) {
    table.ids.push_back({entry.id, is_chosen(entry.name)});
  }
  const auto is_before = [](const Id& one, const Id& other) { return one.id < other.id; };
  const auto is_same_id = [](const Id& one, const Id& other) { return one.id == other.id; };
  std::stable_sort(table.ids.begin(), table.ids.end(), is_before);
  table.ids.erase(std::unique(table.ids.begin(), table.ids.end(), is_same_id), table.ids.end());
  return table;
}

std::optional<bool> NameChoice::chooses(const Report& report, std::uint64_t id) const {
  const profile_decoder::entry* rows = table_of_(report).rows().data();
  const auto table =
      std::find_if(tables_.begin(), tables_.end(), [rows](const Table& candidate) { return candidate.rows == rows; });
  if (table == tables_.end()) {
    return std::nullopt;
  }
  if (id < table->ids.size() && table->ids[id].id == id) {  // as in most tables, which begin at 0 and have no gaps
    return table->ids[id].is_chosen;
  }
  const auto found = std::lower_bound(table->ids.begin(), table->ids.end(), id,
                                      [](const Id& row, std::uint64_t wanted) { return row.id < wanted; });
  return found != table->ids.end() && found->id == id ? std::optional(found->is_chosen) : std::nullopt;
}

}  // namespace hub::host
