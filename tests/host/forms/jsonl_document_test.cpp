// SPDX-License-Identifier: Apache-2.0
// docs/jsonl.md lists what programs find in JSON lines; here it is held against what is written.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/captures/clock_sources.h"
#include "host/forms/jsonl_format.h"
#include "profile/catalogue.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using profile::Form;

std::vector<std::string> document_lines() {
  std::ifstream file(HUB_JSONL_DOCUMENT);
  EXPECT_TRUE(file) << HUB_JSONL_DOCUMENT;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string in_bits(const profile::Field& field) { return std::to_string(8 * field.kind.width_bytes) + " bits"; }

// What the document says of a row's value.
std::string value_of(const profile::Field& field) {
  switch (field.kind.form) {
    case Form::kUnsigned:
      return "integer, " + in_bits(field);
    case Form::kConstant:
      return "integer, always " + std::to_string(field.kind.detail);
    case Form::kQuotedHex:
      return "hexadecimal, " + in_bits(field);
    case Form::kFixedPoint:
      return "fraction of " + std::to_string(field.kind.detail) + " bits";
    case Form::kText:
      return "text, at most " + std::to_string(field.kind.width_bytes) + " bytes";
    case Form::kBytes:
      return "bytes, at most " + std::to_string(field.kind.width_bytes);
    case Form::kSubtype:
      return "subtype, " + in_bits(field);
  }
  return "";
}

std::vector<std::string> rows_of_layouts() {
  std::vector<std::string> rows;
  for (const profile::Layout* layout : profile::kLayouts) {
    rows.push_back("### `" + std::string(layout->name) + "`");
    for (const profile::Field& field : layout->fields) {
      rows.push_back("| `" + std::string(field.key) + "` | " + value_of(field) + " |");
    }
  }
  return rows;
}

TEST(JsonlDocument, lists_every_layout_with_its_rows_in_order) {
  const std::vector<std::string> lines = document_lines();
  std::vector<std::string> rows;
  std::copy_if(std::find(lines.begin(), lines.end(), "## Layouts"), lines.end(), std::back_inserter(rows),
               [](const std::string& line) { return line.starts_with("### ") || line.starts_with("| `"); });
  EXPECT_EQ(rows, rows_of_layouts());
}

class JsonlDocumentOfLines : public DecodeTest {};

TEST_F(JsonlDocumentOfLines, lists_the_members_in_order) {
  host::publish_clock_pair({0, 0});
  host::publish_boot_time({0});
  host::TextBuffer line;
  host::JsonlFormat().append(report(8, 0, 0, 0), line);
  const auto object = nlohmann::ordered_json::parse(line.view());
  std::vector<std::string> members;
  for (const auto& member : object.items()) {
    members.push_back(member.key());
  }
  std::vector<std::string> listed;
  for (const std::string& row : document_lines()) {
    if (row.starts_with("## Values")) {
      break;
    }
    if (row.starts_with("| `")) {
      listed.push_back(row.substr(3, row.find('`', 3) - 3));
    }
  }
  EXPECT_EQ(listed, members);
}

TEST_F(JsonlDocumentOfLines, shows_a_line_that_is_written) {
  const std::vector<std::string> lines = document_lines();
  std::string shown;
  const auto fence = std::find(lines.begin(), lines.end(), "```");
  std::for_each(fence + 1, std::find(fence + 1, lines.end(), "```"), [&](const std::string& part) { shown += part; });
  host::TextBuffer line;
  host::JsonlFormat().append(report(8, 3, 5, 4).sequence(7).time_us(1000).u32(4, 2), line);
  EXPECT_EQ(line.view(), shown + "\n");
}

}  // namespace
}  // namespace hub::test
