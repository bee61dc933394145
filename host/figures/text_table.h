// SPDX-License-Identifier: Apache-2.0
// Tables for a terminal of any width.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace hub::host {

struct TextColumn {
  std::string heading;
  // Where the width is not enough for all columns, those of the highest rank are left out first, all of a rank
  // together. Columns of rank 0 always stay.
  unsigned rank = 0;
};

// Rows of cells below their headings: the first column, names, at the left, the others, numbers, at the right, two
// blanks between them and none at a line's end. Names are shortened in the middle where even the columns that stay
// leave no room for them. Cells are printable text.
class TextTable {
 public:
  explicit TextTable(std::vector<TextColumn> columns) : columns_(std::move(columns)) {}

  // As many cells as there are columns.
  void add_row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  [[nodiscard]] bool empty() const { return rows_.empty(); }

  // One line for the headings, one a row. No wider than `width` unless the columns that always stay are.
  [[nodiscard]] std::string text(std::size_t width) const;

 private:
  [[nodiscard]] std::vector<std::size_t> natural_widths() const;

  std::vector<TextColumn> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// A text of so many characters at most: what is too much is two dots in its middle.
std::string shortened(std::string_view text, std::size_t width);

// Words on lines of so many characters at most, a word that is longer on a line of its own. Ends with a line end.
std::string wrapped(std::string_view text, std::size_t width);

}  // namespace hub::host
