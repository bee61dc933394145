// SPDX-License-Identifier: Apache-2.0
// What the columns of a CSV table show of a record.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/records/record_fields.h"
#include "host/text/text_buffer.h"

namespace hub::host {

// A list of fields with a name that is none: which one, and what is near to it.
class UnknownField : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the characters of a cell are.
enum class CellContent : std::uint8_t {
  kPlain,  // none that CSV must quote
  kText,   // any
};

// One column, by its name:
//
//   a field of RecordField  its value; of two layouts with this key the first one's; of what has a name the name;
//                           hexadecimal where the line shows it so; bytes two hexadecimal digits each
//   KEY-number              the number of a subtype
//   KEY-bytes               the bytes of a text, two hexadecimal digits each
//   calendar-time           as in the line
//   boot-timestamp          as in the line
//   binary-data             all 48 bytes, two hexadecimal digits each
//   payload                 "key=value key=value ...": every item in the order of the line, a layout that it shows
//   twice
//                           once; a text that is empty, has blanks or would change in a JSON string is such a string
//
// KEY may be LAYOUT.KEY.
class CsvColumn {
 public:
  // Nothing when no column has this name.
  static std::optional<CsvColumn> named(std::string_view name);

  // All names that columns can have. For completion and messages.
  static std::vector<std::string> all_names();

  [[nodiscard]] const std::string& name() const { return name_; }

  // Appends what the column shows of the record, without any quotes of CSV; nothing when the record has no such field.
  // Bytes of a text that belong to no character are the replacement character. Whether a character that CSV must quote
  // may be in it: not where all is numbers. [any thread]
  CellContent append(const _HubProfileReport& report, TextBuffer& out) const { return append_(field_, report, out); }

 private:
  using Append = CellContent (*)(const std::optional<RecordField>& field, const _HubProfileReport& report,
                                 TextBuffer& out);

  CsvColumn(std::string_view name, std::optional<RecordField> field, Append writer)
      : name_(name), field_(std::move(field)), append_(writer) {}

  std::string name_;
  std::optional<RecordField> field_;  // none: the column is of the whole record
  Append append_;
};

// The columns of a table when none are asked for.
inline constexpr std::string_view kDefaultFields =
    "timestamp,sequence_num,category,component,event,type,category-id,component-id,event-id,type-id,payload";

// Columns from their names with commas between them, in this order; a name may stand more than once. Throws
// UnknownField with a sentence that tells the name and those near to it.
std::vector<CsvColumn> parse_fields(std::string_view list);

}  // namespace hub::host
