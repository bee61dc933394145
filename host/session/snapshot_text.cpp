// SPDX-License-Identifier: Apache-2.0
#include "host/session/snapshot_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "host/text/printable_text.h"

namespace hub::host {
namespace {

using platform::PropertyListArray;
using platform::PropertyListDictionary;
using platform::PropertyListValue;
using Data = std::vector<std::byte>;

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
constexpr std::size_t kDataBytesPerLine = 16;
constexpr std::string_view kEmpty = "(empty)";

// Two digits a byte, `between` between bytes.
std::string hex_text(std::span<const std::byte> bytes, std::string_view between) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : bytes) {
    text += text.empty() ? "" : between;
    text += {kDigits[std::to_integer<std::size_t>(byte) / 16], kDigits[std::to_integer<std::size_t>(byte) % 16]};
  }
  return text;
}

// The text of a value that stands in one line.
struct LineText {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return number_text(value); }
  std::string operator()(double value) const { return number_text(value); }
  std::string operator()(const std::string& value) const { return or_empty(printable(value)); }
  std::string operator()(const Data& value) const { return or_empty(hex_text(value, " ")); }
  std::string operator()(const PropertyListArray&) const { return std::string(kEmpty); }
  std::string operator()(const PropertyListDictionary&) const { return std::string(kEmpty); }

 private:
  static std::string or_empty(const std::string& text) { return text.empty() ? std::string(kEmpty) : text; }
};

std::string line_text(const PropertyListValue& value) { return std::visit(LineText(), value.value); }

// Whether a value takes lines of its own.
struct IsBlock {
  template <typename Scalar>
  bool operator()(const Scalar&) const {
    return false;
  }
  bool operator()(const Data& value) const { return value.size() > kDataBytesPerLine; }
  bool operator()(const PropertyListArray& values) const { return !values.empty(); }
  bool operator()(const PropertyListDictionary& pairs) const { return !pairs.empty(); }
};

bool is_block(const PropertyListValue& value) { return std::visit(IsBlock(), value.value); }

class TextWriter {
 public:
  std::string text_of(const Snapshot& snapshot) {
    add_line(LineText()(snapshot.title));
    add_nested(snapshot.contents);
    return std::move(text_);
  }

 private:
  struct Row {
    std::string label;
    const PropertyListValue* value;
  };

  void add_line(std::string_view line) {
    text_.append(indent_, ' ');
    text_ += line;
    text_ += '\n';
  }

  void add_nested(const PropertyListValue& value) {
    indent_ += kIndent;
    if (is_block(value)) {
      add_block(value);
    } else {
      add_line(line_text(value));
    }
    indent_ -= kIndent;
  }

  void add_block(const PropertyListValue& value) {
    if (const auto* pairs = std::get_if<PropertyListDictionary>(&value.value)) {
      add_dictionary(*pairs);
    } else if (const auto* values = std::get_if<PropertyListArray>(&value.value)) {
      add_array(*values);
    } else {
      add_data(std::get<Data>(value.value));
    }
  }

  void add_dictionary(const PropertyListDictionary& pairs) {
    std::vector<Row> rows;
    for (const auto& [key, value] : pairs) {
      rows.push_back({LineText()(key), &value});
    }
    add_rows(rows);
  }

  void add_array(const PropertyListArray& values) {
    if (std::none_of(values.begin(), values.end(), is_block)) {
      for (const PropertyListValue& value : values) {
        add_line(line_text(value));
      }
      return;
    }
    std::vector<Row> rows;
    for (const PropertyListValue& value : values) {
      rows.push_back({"[" + std::to_string(rows.size()) + "]", &value});
    }
    add_rows(rows);
  }

  void add_data(std::span<const std::byte> data) {
    while (!data.empty()) {
      const auto line = data.first(std::min(data.size(), kDataBytesPerLine));
      add_line(hex_text(line, " "));
      data = data.subspan(line.size());
    }
  }

  void add_rows(const std::vector<Row>& rows) {
    std::size_t width = 0;
    for (const Row& row : rows) {
      width = std::max(width, width_of(row.label));
    }
    for (const Row& row : rows) {
      if (is_block(*row.value)) {
        add_line(row.label);
        add_nested(*row.value);
      } else {
        const std::string gap(width - width_of(row.label) + kGap, ' ');
        add_line(row.label + gap + line_text(*row.value));
      }
    }
  }

  std::string text_;
  std::size_t indent_ = 0;
};

using Json = nlohmann::ordered_json;

struct JsonOf {
  Json operator()(bool value) const { return value; }
  Json operator()(std::int64_t value) const { return value; }
  Json operator()(double value) const {
    return std::isfinite(value) ? Json(value) : Json{{"real", std::isnan(value) ? "nan" : number_text(value)}};
  }
  Json operator()(const std::string& value) const { return value; }
  Json operator()(const Data& value) const { return {{"data", hex_text(value, "")}}; }
  Json operator()(const PropertyListArray& values) const {
    Json::array_t array;
    for (const PropertyListValue& value : values) {
      array.push_back(std::visit(*this, value.value));
    }
    return array;
  }
  // The keys differ already: looking for each among those before it would take long.
  Json operator()(const PropertyListDictionary& pairs) const {
    Json::object_t members;
    for (const auto& [key, value] : pairs) {
      members.push_back({key, std::visit(*this, value.value)});
    }
    return members;
  }
};

}  // namespace

std::string snapshot_text(const Snapshot& snapshot) { return TextWriter().text_of(snapshot); }

std::string snapshot_json(const Snapshot& snapshot) {
  Json::object_t members;
  members.push_back({"format", "hub-snapshot/1"});
  members.push_back({"title", snapshot.title});
  members.push_back({"contents", std::visit(JsonOf(), snapshot.contents.value)});
  constexpr int kJsonIndent = 2;
  return Json(std::move(members)).dump(kJsonIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace hub::host
