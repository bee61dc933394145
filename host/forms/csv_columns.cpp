// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_columns.h"

#include <algorithm>
#include <utility>

#include "host/device/json_text.h"
#include "host/forms/ready_text.h"
#include "host/forms/value_text.h"
#include "host/text/utf8_text.h"
#include "profile/catalogue.h"
#include "profile/profile_decoder.h"

namespace hub::host {
namespace {

using Report = _HubProfileReport;

// --- Values ---

void append_number(TextBuffer& out, const FieldValue& value) {
  if (value.is_hexadecimal()) {
    append_hexadecimal(out, value.number());
  } else {
    append_decimal(out, value.number());
  }
}

CellContent content_of(std::uint8_t traits) {
  return (traits & kHasCsvDelimiter) != 0 ? CellContent::kText : CellContent::kPlain;
}

// A text that has a cell for itself.
CellContent append_alone(TextBuffer& out, std::string_view text) {
  const std::uint8_t traits = traits_of(text);
  if ((traits & kHasJsonEscape) == 0) {
    out += text;
  } else {
    std::string readable;
    append_readable(readable, text);
    out += readable;
  }
  return content_of(traits);
}

// Among items with blanks between them, a text must show where it ends.
CellContent append_delimited(TextBuffer& out, std::string_view text) {
  constexpr std::size_t kTwoQuotes = 2;
  const std::uint8_t traits = traits_of(text);
  if (!text.empty() && (traits & (kHasJsonEscape | kHasBlank)) == 0) {
    out += text;
    return content_of(traits);
  }
  const std::size_t start = out.size();
  append_json_string(out, text);
  // Of what is not ASCII most stands in a JSON string as it is.
  const bool as_it_is = out.size() - start == text.size() + kTwoQuotes && (traits & kHasBlank) == 0;
  if (as_it_is && !text.empty()) {
    out.truncate(start);
    out += text;
  }
  return CellContent::kText;
}

// How a text is written depends on what stands beside it; all else is the same everywhere.
template <CellContent append_text(TextBuffer& out, std::string_view text)>
CellContent append_value(TextBuffer& out, const FieldValue& value) {
  switch (value.type()) {
    case FieldType::kNumber:
      append_number(out, value);
      break;
    case FieldType::kReal:
      append_real(out, value.real());
      break;
    case FieldType::kText:
      return append_text(out, value.text());
    case FieldType::kBytes:
      append_hexadecimal(out, value.bytes());
      break;
    case FieldType::kName:
      append_name(out, value.known_name(), value.number());
      break;
  }
  return CellContent::kPlain;
}

// --- Columns ---

using Field = std::optional<RecordField>;

CellContent append_header_number(const Field& field, const Report& report, TextBuffer& out) {
  append_decimal(out, field->header_item()->number_of(report));
  return CellContent::kPlain;
}

CellContent append_header_name(const Field& field, const Report& report, TextBuffer& out) {
  const HeaderItem& item = *field->header_item();
  append_name(out, item.name_of(report), item.number_of(report));
  return CellContent::kPlain;
}

CellContent append_payload_field(const Field& field, const Report& report, TextBuffer& out) {
  const FieldValues values = field->values_of(report);
  return values.empty() ? CellContent::kPlain : append_value<append_alone>(out, values[0]);
}

CellContent append_field_number(const Field& field, const Report& report, TextBuffer& out) {
  const FieldValues values = field->values_of(report);
  if (!values.empty()) {
    append_decimal(out, values[0].number());
  }
  return CellContent::kPlain;
}

CellContent append_field_bytes(const Field& field, const Report& report, TextBuffer& out) {
  const FieldValues values = field->values_of(report);
  if (!values.empty()) {
    append_hexadecimal(out, std::as_bytes(std::span(values[0].text())));
  }
  return CellContent::kPlain;
}

CellContent append_calendar_time(const Field& /*field*/, const Report& report, TextBuffer& out) {
  std::string calendar_time;
  if (profile_decoder::hub_time_to_wall_time(report.timestamp, calendar_time)) {
    out += calendar_time;
  }
  return CellContent::kText;
}

CellContent append_boot_time(const Field& /*field*/, const Report& /*report*/, TextBuffer& out) {
  unsigned long long boot_time_us = 0;
  if (profile_decoder::get_boot_time(boot_time_us)) {
    append_decimal(out, boot_time_us);
  }
  return CellContent::kPlain;
}

CellContent append_binary_data(const Field& /*field*/, const Report& report, TextBuffer& out) {
  append_hexadecimal(out, std::as_bytes(std::span(&report, 1)));
  return CellContent::kPlain;
}

const ReadyKeys kItemKeys("", " ", "=");

CellContent append_items(const profile::Layout& layout, const Report& report, TextBuffer& out) {
  CellContent content = CellContent::kPlain;
  const ReadyText* key = kItemKeys.of(layout).data();
  for (const profile::Field& field : layout.fields) {
    out += *key++;
    content = std::max(content, append_value<append_delimited>(out, {report, field}));
  }
  return content;
}

CellContent append_payload(const Field& /*field*/, const Report& report, TextBuffer& out) {
  const profile::Rendering rendering = profile::rendering_of(report);
  if (rendering.first == nullptr) {
    return CellContent::kPlain;
  }
  CellContent content = append_items(*rendering.first, report, out);
  if (rendering.second != nullptr && rendering.second != rendering.first) {
    out += ' ';
    content = std::max(content, append_items(*rendering.second, report, out));
  }
  return content;
}

using AppendColumn = CellContent (*)(const Field& field, const Report& report, TextBuffer& out);

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

AppendColumn value_of(const RecordField& field) {
  if (field.header_item() == nullptr) {
    return append_payload_field;
  }
  return field.type() == FieldType::kName ? append_header_name : append_header_number;
}

// The numbers of the header have names of their own.
bool goes_with(const KeySuffix& suffix, const RecordField& field) {
  return field.type() == suffix.type && field.header_item() == nullptr;
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
    const AppendColumn append = value_of(*field);
    return CsvColumn(name, std::move(field), append);
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
