// SPDX-License-Identifier: Apache-2.0
#include "host/profile/trace_json.h"

#include <array>
#include <charconv>
#include <span>

#include "host/profile/record_fields.h"
#include "host/profile/trace_clock.h"
#include "host/profile/value_text.h"
#include "host/utf8_text.h"

namespace hub::host {

using profile::Field;
using profile::Form;
using profile::Layout;

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

template <typename Number, typename... Form>
void append_number(std::string& out, Number number, Form... form) {
  std::array<char, 32> room;
  out.append(room.data(), std::to_chars(room.data(), room.data() + room.size(), number, form...).ptr);
}

void append_hex(std::string& out, std::span<const std::byte> bytes) {
  out += '"';
  for (const std::byte byte : bytes) {
    out += kHexDigits[std::to_integer<unsigned>(byte) / 16];
    out += kHexDigits[std::to_integer<unsigned>(byte) % 16];
  }
  out += '"';
}

void append_key(std::string& out, std::string_view key, std::string_view suffix = {}) {
  ((out += '"') += key) += suffix;
  out += "\":";
}

void append_text_value(std::string& out, std::string_view key, std::string_view text) {
  append_json_string(out, text);
  if (utf8_prefix_bytes(text) < text.size()) {
    out += ',';
    append_key(out, key, "-bytes");
    append_hex(out, std::as_bytes(std::span(text)));
  }
}

void append_named_value(std::string& out, std::string_view key, const FieldValue& value) {
  append_json_integer(out, value.number());
  out += ',';
  append_key(out, key, "-name");
  append_json_string(out, value.name());
}

void append_number_value(std::string& out, const Field& field, std::uint64_t number) {
  constexpr int kHexadecimal = 16;
  if (field.kind.form != Form::kQuotedHex) {
    append_json_integer(out, number);
    return;
  }
  out += '"';
  append_number(out, number, kHexadecimal);
  out += '"';
}

// Keys are plain ASCII without quotes.
void append_item(std::string& out, const _HubProfileReport& report, const Field& field) {
  const FieldValue value(report, field);
  append_key(out, field.key);
  switch (value.type()) {
    case FieldType::kNumber:
      append_number_value(out, field, value.number());
      break;
    case FieldType::kReal:
      append_number(out, value.real());
      break;
    case FieldType::kText:
      append_text_value(out, field.key, value.text());
      break;
    case FieldType::kBytes:
      append_hex(out, value.bytes());
      break;
    case FieldType::kName:
      append_named_value(out, field.key, value);
      break;
  }
}

void append_layout(std::string& out, const _HubProfileReport& report, const Layout& layout) {
  out += ',';
  append_key(out, layout.name);
  char separator = '{';
  for (const Field& field : layout.fields) {
    out += separator;
    append_item(out, report, field);
    separator = ',';
  }
  out += '}';
}

}  // namespace

void append_json_integer(std::string& out, std::uint64_t number) {
  const char* const quote = number > kMaxTraceTime_us ? "\"" : "";
  out += quote;
  append_number(out, number);
  out += quote;
}

void append_record_arguments(std::string& out, const _HubProfileReport& report) {
  out += R"({"sequence_num":)";
  append_json_integer(out, report.sequence_num);
  out += R"(,"timestamp":)";
  append_json_integer(out, report.timestamp);
  out += R"(,"category-id":)";
  append_json_integer(out, report.category_id);
  out += R"(,"component-id":)";
  append_json_integer(out, report.component_id);
  out += R"(,"event-id":)";
  append_json_integer(out, report.event_id);
  out += R"(,"type-id":)";
  append_json_integer(out, report.type_id);
  const profile::Rendering rendering = profile::rendering_of(report);
  if (rendering.first != nullptr) {
    append_layout(out, report, *rendering.first);
  }
  if (rendering.second != nullptr && rendering.second != rendering.first) {
    append_layout(out, report, *rendering.second);
  }
  out += '}';
}

}  // namespace hub::host
