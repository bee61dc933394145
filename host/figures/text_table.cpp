// SPDX-License-Identifier: Apache-2.0
#include "host/figures/text_table.h"

#include <algorithm>

#include "host/text/printable_text.h"

namespace hub::host {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kReadableName = 24;  // so much of a name is worth more than another column
constexpr std::size_t kShortestName = 8;
constexpr std::string_view kDots = "..";

bool continues_character(char byte) { return (static_cast<unsigned>(byte) & 0xC0U) == 0x80U; }

// Where in the text its character of this index begins.
std::size_t offset_of(std::string_view text, std::size_t character) {
  std::size_t offset = 0;
  for (std::size_t begun = 0; offset < text.size(); ++offset) {
    begun += continues_character(text[offset]) ? 0 : 1;
    if (begun > character) {
      break;
    }
  }
  return offset;
}

// The columns that are shown, with their widths.
class ColumnChoice {
 public:
  ColumnChoice(const std::vector<TextColumn>& columns, std::vector<std::size_t> widths, std::size_t width)
      : columns_(columns), widths_(std::move(widths)) {
    for (const TextColumn& column : columns_) {
      highest_rank_ = std::max(highest_rank_, column.rank);
    }
    while (highest_rank_ > 0 && total_width(std::min(widths_[0], kReadableName)) > width) {
      --highest_rank_;
    }
    const std::size_t others = total_width(0);
    const std::size_t room = width > others ? width - others : 0;
    widths_[0] = std::min(widths_[0], std::max(room, kShortestName));
  }

  [[nodiscard]] bool shows(std::size_t column) const { return columns_[column].rank <= highest_rank_; }
  [[nodiscard]] std::size_t width(std::size_t column) const { return widths_[column]; }

 private:
  [[nodiscard]] std::size_t total_width(std::size_t name_width) const {
    std::size_t total = name_width;
    for (std::size_t column = 1; column < columns_.size(); ++column) {
      total += shows(column) ? kGap + widths_[column] : 0;
    }
    return total;
  }

  const std::vector<TextColumn>& columns_;
  std::vector<std::size_t> widths_;
  unsigned highest_rank_ = 0;
};

void append_line(const ColumnChoice& choice, const std::vector<std::string>& cells, std::string& text) {
  std::string line = shortened(cells[0], choice.width(0));
  line.append(choice.width(0) - width_of(line), ' ');
  for (std::size_t column = 1; column < cells.size(); ++column) {
    if (choice.shows(column)) {
      line.append(kGap + choice.width(column) - width_of(cells[column]), ' ');
      line += cells[column];
    }
  }
  line.resize(line.find_last_not_of(' ') + 1);
  text += line + '\n';
}

}  // namespace

std::string shortened(std::string_view text, std::size_t width) {
  const std::size_t characters = width_of(text);
  if (characters <= width) {
    return std::string(text);
  }
  if (width <= kDots.size()) {
    return std::string(text.substr(0, offset_of(text, width)));
  }
  // Names differ in their ends more than in their beginnings.
  const std::size_t kept = width - kDots.size();
  const std::size_t head = kept / 3;
  const std::size_t tail_at = offset_of(text, characters - (kept - head));
  return std::string(text.substr(0, offset_of(text, head))) + std::string(kDots) + std::string(text.substr(tail_at));
}

std::string wrapped(std::string_view text, std::size_t width) {
  std::string lines;
  std::size_t used = 0;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    const bool fits = used > 0 && used + 1 + width_of(word) <= width;
    lines += used == 0 ? "" : fits ? " " : "\n";
    used = (fits ? used + 1 : 0) + width_of(word);
    lines += word;
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  return lines + '\n';
}

std::vector<std::size_t> TextTable::natural_widths() const {
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    std::size_t width = width_of(columns_[column].heading);
    for (const std::vector<std::string>& row : rows_) {
      width = std::max(width, width_of(row[column]));
    }
    widths.push_back(width);
  }
  return widths;
}

std::string TextTable::text(std::size_t width) const {
  const ColumnChoice choice(columns_, natural_widths(), width);
  std::vector<std::string> headings;
  for (const TextColumn& column : columns_) {
    headings.push_back(column.heading);
  }
  std::string text;
  append_line(choice, headings, text);
  for (const std::vector<std::string>& row : rows_) {
    append_line(choice, row, text);
  }
  return text;
}

}  // namespace hub::host
