// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_fields.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <set>
#include <utility>

namespace hub::host {

using profile::Field;
using profile::Layout;

namespace {

using Report = _HubProfileReport;

template <auto member>
std::uint64_t number_in(const Report& report) {
  return report.*member;
}

// clang-format off
constexpr HeaderItem kHeaderItemRows[] = {
    {"category",     number_in<&Report::category_id>,  profile::known_category_name},
    {"component",    number_in<&Report::component_id>, profile::known_component_name},
    {"event",        number_in<&Report::event_id>,     profile::known_event_name},
    {"type",         number_in<&Report::type_id>,      profile::known_type_name},
    {"timestamp",    number_in<&Report::timestamp>,    nullptr},
    {"sequence_num", number_in<&Report::sequence_num>, nullptr},
    {"type-id",      number_in<&Report::type_id>,      nullptr},
    {"category-id",  number_in<&Report::category_id>,  nullptr},
    {"component-id", number_in<&Report::component_id>, nullptr},
    {"event-id",     number_in<&Report::event_id>,     nullptr},
};
// clang-format on

std::string qualified_name(const Layout& layout, const Field& field) {
  return std::string(layout.name) + "." + std::string(field.key);
}

// "LAYOUT.KEY", without making the text.
bool is_qualified(std::string_view name, const Layout& layout, const Field& field) {
  return name.size() == layout.name.size() + 1 + field.key.size() && name.starts_with(layout.name) &&
         name[layout.name.size()] == '.' && name.ends_with(field.key);
}

std::vector<std::string> collect_names() {
  std::vector<std::string> names;
  std::set<std::string_view> known;
  for (const HeaderItem& item : kHeaderItemRows) {
    names.emplace_back(item.name);
    known.insert(item.name);
  }
  std::vector<std::string> qualified;
  for (const Layout* layout : profile::kLayouts) {
    for (const Field& field : layout->fields) {
      if (known.insert(field.key.view()).second) {
        names.emplace_back(field.key);
      }
      qualified.push_back(qualified_name(*layout, field));
    }
  }
  names.insert(names.end(), qualified.begin(), qualified.end());
  return names;
}

std::string in_lower_case(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return lower;
}

// How many characters must be put in, taken out, replaced or swapped with the next one to make one text of the other.
// When it is more than `most`, any number above that.
std::size_t edit_distance(std::string_view one, std::string_view other, std::size_t most) {
  std::vector<std::size_t> before_last(other.size() + 1);
  std::vector<std::size_t> last(other.size() + 1);
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    row[0] = i;
    std::size_t least = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[j] = std::min(std::min(last[j], row[j - 1]) + 1, replaced);
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        row[j] = std::min(row[j], before_last[j - 2] + 1);
      }
      least = std::min(least, row[j]);
    }
    if (least > most) {  // no row behind has less
      return least;
    }
    before_last.swap(last);
    last.swap(row);
  }
  return last.back();
}

}  // namespace

constinit const std::span<const HeaderItem> kHeaderItems{kHeaderItemRows};

std::string_view FieldValue::known_name() const {
  return field_ != nullptr ? profile::known_subtype_name(*report_, static_cast<std::uint32_t>(number()))
                           : item_->name_of(*report_);
}

std::optional<RecordField> RecordField::named(std::string_view name) {
  RecordField found;
  found.name_ = name;
  for (const HeaderItem& item : kHeaderItems) {
    if (item.name == name) {
      found.header_item_ = &item;
      found.type_ = type_of(item);
      return found;
    }
  }
  for (const Layout* layout : profile::kLayouts) {
    for (const Field& field : layout->fields) {
      if (field.key == name || is_qualified(name, *layout, field)) {
        found.rows_.push_back({layout, &field});
        found.type_ = type_of(field);
      }
    }
  }
  return found.rows_.empty() ? std::nullopt : std::optional(std::move(found));
}

const std::vector<std::string>& RecordField::all_names() {
  static const std::vector<std::string> names = collect_names();
  return names;
}

FieldValues RecordField::values_of(const _HubProfileReport& report) const {
  FieldValues values;
  if (header_item_ != nullptr) {
    values.add({report, *header_item_});
    return values;
  }
  const profile::Rendering rendering = profile::rendering_of(report);
  const Layout* second = rendering.second != rendering.first ? rendering.second : nullptr;
  for (const Layout* layout : {rendering.first, second}) {
    for (const Row& row : rows_) {
      if (row.layout == layout) {
        values.add({report, *row.field});
      }
    }
  }
  return values;
}

std::vector<std::string> nearest_names(std::string_view unknown, std::span<const std::string> known) {
  constexpr std::size_t kMost = 3;
  struct Candidate {
    std::size_t distance;
    std::string_view name;
  };
  std::vector<Candidate> candidates;
  const std::size_t tolerated = std::max<std::size_t>(2, unknown.size() / 3);
  const std::string wanted = in_lower_case(unknown);
  for (const std::string& name : known) {
    const auto [shorter, longer] = std::minmax({unknown.size(), name.size()});
    if (longer - shorter > tolerated) {  // so many would have to be put in
      continue;
    }
    const std::size_t distance = edit_distance(wanted, in_lower_case(name), tolerated);
    if (distance <= tolerated && distance < shorter) {
      candidates.push_back({distance, name});
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& one, const Candidate& other) { return one.distance < other.distance; });
  candidates.resize(std::min(candidates.size(), kMost));
  std::vector<std::string> names;
  names.reserve(candidates.size());
  for (const Candidate& candidate : candidates) {
    names.emplace_back(candidate.name);
  }
  return names;
}

}  // namespace hub::host
