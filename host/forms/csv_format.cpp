// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_format.h"

#include <algorithm>
#include <string_view>

#include "host/forms/value_text.h"

namespace hub::host {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// Puts the cell that begins at `start` into quotes where its characters need it: in place, from its end on.
void quote_where_needed(TextBuffer& line, std::size_t start) {
  const std::string_view cell = line.view().substr(start);
  if ((traits_of(cell) & kHasCsvDelimiter) == 0) {
    return;
  }
  const auto added = static_cast<std::size_t>(std::count(cell.begin(), cell.end(), '"')) + 2;
  const std::size_t length = cell.size();
  char* const unquoted_end = line.room(added);
  char* const end = unquoted_end + added;
  const char* from = unquoted_end;
  const char* const begin = from - length;
  char* to = end;
  *--to = '"';
  while (from > begin) {
    *--to = *--from;
    if (*from == '"') {
      *--to = '"';
    }
  }
  *--to = '"';
  line.advance_to(end);
}

}  // namespace

void CsvFormat::begin(TextBuffer& out) {
  for (const CsvColumn& column : columns_) {
    out += &column == &columns_.front() ? "" : ",";
    out += column.name();
  }
  out += kLineEnd;
}

bool CsvFormat::append(const _HubProfileReport& report, TextBuffer& out) {
  const std::size_t begin = out.size();
  for (const CsvColumn& column : columns_) {
    const std::size_t cell = out.size();
    if (column.append(report, out) == CellContent::kText) {
      quote_where_needed(out, cell);
    }
    out += ',';
  }
  out.truncate(out.size() - 1);  // the comma behind the last cell
  // Readers would skip an empty line; an empty cell in quotes is a record.
  if (out.size() == begin) {
    out += "\"\"";
  }
  out += kLineEnd;
  return true;
}

}  // namespace hub::host
