// SPDX-License-Identifier: Apache-2.0
#include "host/forms/csv_format.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace hub::host {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

constexpr std::array<bool, 256> make_special() {
  std::array<bool, 256> special{};
  for (const char character : {',', '"', '\r', '\n'}) {
    special[static_cast<std::uint8_t>(character)] = true;
  }
  return special;
}

constexpr std::array<bool, 256> kSpecial = make_special();

bool is_special(char character) { return kSpecial[static_cast<std::uint8_t>(character)]; }

// Puts the cell that begins at `start` into quotes where its characters need it: in place, from its end on.
void quote_where_needed(std::string& out, std::size_t start) {
  const auto cell = out.cbegin() + static_cast<std::ptrdiff_t>(start);
  if (std::none_of(cell, out.cend(), is_special)) {
    return;
  }
  const auto quotes = static_cast<std::size_t>(std::count(cell, out.cend(), '"'));
  std::size_t from = out.size();
  out.resize(out.size() + quotes + 2);
  std::size_t to = out.size();
  out[--to] = '"';
  while (from > start) {
    const char character = out[--from];
    out[--to] = character;
    if (character == '"') {
      out[--to] = '"';
    }
  }
  out[--to] = '"';
}

}  // namespace

void CsvFormat::begin(std::string& out) {
  for (const CsvColumn& column : columns_) {
    out += &column == &columns_.front() ? "" : ",";
    out += column.name();
  }
  out += kLineEnd;
}

bool CsvFormat::append(const _HubProfileReport& report, std::string& out) {
  const std::size_t line = out.size();
  for (const CsvColumn& column : columns_) {
    if (&column != &columns_.front()) {
      out += ',';
    }
    const std::size_t cell = out.size();
    column.append(report, out);
    quote_where_needed(out, cell);
  }
  // Readers would skip an empty line; an empty cell in quotes is a record.
  if (out.size() == line) {
    out += "\"\"";
  }
  out += kLineEnd;
  return true;
}

}  // namespace hub::host
