// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_columns.h"

#include <algorithm>
#include <utility>

#include "host/device/json_text.h"
#include "host/forms/value_text.h"
#include "host/text/utf8_text.h"
#include "profile/catalogue.h"
#include "profile/profile_decoder.h"

namespace hub::host {
namespace {

using Report = _HubProfileReport;

// --- Values ---

void append_number(std::string& out, const FieldValue& value) {
  if (value.is_hexadecimal()) {
    append_hexadecimal(out, value.number());
  } else {
    append_decimal(out, value.number());
  }
}

// How a text is written depends on what stands beside it; all else is the same everywhere.
using AppendText = void (*)(std::string& out, std::string_view text);

void append_value(std::string& out, const FieldValue& value, AppendText append_text) {
  switch (value.type()) {
    case FieldType::kNumber:
      append_number(out, value);
      break;
    case FieldType::kReal:
      append_real(out, value.real());
      break;
    case FieldType::kText:
      append_text(out, value.text());
      break;
    case FieldType::kBytes:
      append_hexadecimal(out, value.bytes());
      break;
    case FieldType::kName:
      append_text(out, value.name());
      break;
  }
}

// Among items with blanks between them, a text must show where it ends.
void append_delimited(std::string& out, std::string_view text) {
  constexpr std::size_t kTwoQuotes = 2;
  const std::size_t start = out.size();
  append_json_string(out, text);
  const bool as_it_is = out.size() - start == text.size() + kTwoQuotes && text.find(' ') == std::string_view::npos;
  if (as_it_is && !text.empty()) {
    out.pop_back();
    out.erase(start, 1);
  }
}

// --- Columns ---

using Field = std::optional<RecordField>;

void append_field(const Field& field, const Report& report, std::string& out) {
  const FieldValues values = field->values_of(report);
  if (!values.empty()) {
    append_value(out, values[0], append_readable);
  }
}

void append_field_number(const Field& field, const Report& report, std::string& out) {
  const FieldValues values = field->values_of(report);
  if (!values.empty()) {
    append_decimal(out, values[0].number());
  }
}

void append_field_bytes(const Field& field, const Report& report, std::string& out) {
  const FieldValues values = field->values_of(report);
  if (!values.empty()) {
    append_hexadecimal(out, std::as_bytes(std::span(values[0].text())));
  }
}

void append_calendar_time(const Field& /*field*/, const Report& report, std::string& out) {
  std::string calendar_time;
  if (profile_decoder::hub_time_to_wall_time(report.timestamp, calendar_time)) {
    out += calendar_time;
  }
}

void append_boot_time(const Field& /*field*/, const Report& /*report*/, std::string& out) {
  unsigned long long boot_time_us = 0;
  if (profile_decoder::get_boot_time(boot_time_us)) {
    append_decimal(out, boot_time_us);
  }
}

void append_binary_data(const Field& /*field*/, const Report& report, std::string& out) {
  append_hexadecimal(out, std::as_bytes(std::span(&report, 1)));
}

void append_items(const profile::Layout& layout, const Report& report, std::string& out) {
  for (const profile::Field& field : layout.fields) {
    out += field.key;
    out += '=';
    append_value(out, FieldValue(report, field), append_delimited);
    out += ' ';
  }
}

void append_payload(const Field& /*field*/, const Report& report, std::string& out) {
  const profile::Rendering rendering = profile::rendering_of(report);
  if (rendering.first == nullptr) {
    return;
  }
  append_items(*rendering.first, report, out);
  if (rendering.second != nullptr && rendering.second != rendering.first) {
    append_items(*rendering.second, report, out);
  }
  out.pop_back();  // the blank behind the last item
}

using AppendColumn = void (*)(const Field& field, const Report& report, std::string& out);

struct WholeRecordColumn {
  std::string_view name;
  AppendColumn append;
};

constexpr WholeRecordColumn kWholeRecordColumns[] = {
    {"calendar-time", append_calendar_time},
    {"boot-timestamp", append_boot_time},
    {"binary-data", append_binary_data},
    {"payload", append_payload},
};

// What can be asked of a payload's item beside its value, by what stands behind its key.
struct KeySuffix {
  std::string_view suffix;
  FieldType type;
  AppendColumn append;
};

constexpr KeySuffix kKeySuffixes[] = {
    {"-number", FieldType::kName, append_field_number},
    {"-bytes", FieldType::kText, append_field_bytes},
};

bool is_of_header(std::string_view name) {
  return std::any_of(kHeaderItems.begin(), kHeaderItems.end(),
                     [name](const HeaderItem& item) { return item.name == name; });
}

// The numbers of the header have names of their own.
bool goes_with(const KeySuffix& suffix, const RecordField& field) {
  return field.type() == suffix.type && !is_of_header(field.name());
}

std::string unknown_field_text(std::string_view name, std::string_view list) {
  if (name.empty()) {
    return "expected a field where " + in_quotes(list) + " has an empty name";
  }
  std::string text = in_quotes(name) + " is no field";
  const char* before = "; near to it: ";
  for (const std::string& near : nearest_names(name, CsvColumn::all_names())) {
    text += std::exchange(before, ", ") + near;
  }
  return text;
}

}  // namespace

std::optional<CsvColumn> CsvColumn::named(std::string_view name) {
  for (const WholeRecordColumn& column : kWholeRecordColumns) {
    if (column.name == name) {
      return CsvColumn(name, std::nullopt, column.append);
    }
  }
  if (auto field = RecordField::named(name)) {
    return CsvColumn(name, std::move(field), append_field);
  }
  for (const KeySuffix& suffix : kKeySuffixes) {
    if (name.ends_with(suffix.suffix)) {
      auto field = RecordField::named(name.substr(0, name.size() - suffix.suffix.size()));
      if (field && goes_with(suffix, *field)) {
        return CsvColumn(name, std::move(field), suffix.append);
      }
    }
  }
  return std::nullopt;
}

std::vector<std::string> CsvColumn::all_names() {
  std::vector<std::string> names = RecordField::all_names();
  for (const WholeRecordColumn& column : kWholeRecordColumns) {
    names.emplace_back(column.name);
  }
  for (const std::string& name : RecordField::all_names()) {
    for (const KeySuffix& suffix : kKeySuffixes) {
      if (goes_with(suffix, *RecordField::named(name))) {
        names.push_back(name + std::string(suffix.suffix));
      }
    }
  }
  return names;
}

std::vector<CsvColumn> parse_fields(std::string_view list) {
  std::vector<CsvColumn> columns;
  for (std::size_t start = 0; start <= list.size();) {
    const std::size_t end = std::min(list.find(',', start), list.size());
    const std::string_view name = list.substr(start, end - start);
    auto column = CsvColumn::named(name);
    if (!column) {
      throw UnknownField(unknown_field_text(name, list));
    }
    columns.push_back(*std::move(column));
    start = end + 1;
  }
  return columns;
}

}  // namespace hub::host
