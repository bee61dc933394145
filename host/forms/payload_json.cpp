// SPDX-License-Identifier: Apache-2.0
#include "host/forms/payload_json.h"

#include <span>
#include <string_view>

#include "host/forms/value_text.h"
#include "host/text/utf8_text.h"
#include "profile/catalogue.h"

namespace hub::host {

using profile::Field;
using profile::Form;
using profile::Layout;
using profile::Payload;

namespace {

// Keys are constants of ours that need no escapes.
void append_key(std::string& out, std::string_view key) {
  out += '"';
  out += key;
  out += "\":";
}

void append_derived_key(std::string& out, std::string_view key, std::string_view suffix) {
  out += ",\"";
  out += key;
  out += suffix;
  out += "\":";
}

void append_hexadecimal_string(std::string& out, std::span<const std::byte> bytes) {
  out += '"';
  append_hexadecimal(out, bytes);
  out += '"';
}

void append_text(std::string& out, std::string_view key, std::string_view text) {
  append_json_string(out, text);
  if (utf8_prefix_bytes(text) < text.size()) {
    append_derived_key(out, key, "-bytes");
    append_hexadecimal_string(out, std::as_bytes(std::span(text)));
  }
}

void append_subtype(std::string& out, std::string_view key, std::uint32_t subtype, const _HubProfileReport& report) {
  append_decimal(out, subtype);
  append_derived_key(out, key, "-name");
  append_json_string(out, profile::subtype_name_of(report, subtype));
}

// The value of a row, and the member that some rows have behind it.
void append_row(std::string& out, const Field& field, const _HubProfileReport& report, Integers integers) {
  const Payload payload = profile::payload_of(report);
  switch (field.kind.form) {
    case Form::kUnsigned:
    case Form::kConstant:
      append_json_integer(out, profile::number_of(field, payload), integers);
      break;
    case Form::kQuotedHex:
      out += '"';
      append_hexadecimal(out, profile::number_of(field, payload));
      out += '"';
      break;
    case Form::kFixedPoint:
      append_real(out, profile::real_of(field, payload));
      break;
    case Form::kText:
      append_text(out, field.key, profile::text_of(field, payload));
      break;
    case Form::kBytes:
      append_hexadecimal_string(out, profile::bytes_of(field, payload));
      break;
    case Form::kSubtype:
      append_subtype(out, field.key, static_cast<std::uint32_t>(profile::number_of(field, payload)), report);
      break;
  }
}

void append_layout(std::string& out, const Layout& layout, const _HubProfileReport& report, Integers integers) {
  char separator = '{';
  for (const Field& field : layout.fields) {
    out += separator;
    append_key(out, field.key);
    append_row(out, field, report, integers);
    separator = ',';
  }
  out += '}';
}

}  // namespace

void append_json_integer(std::string& out, std::uint64_t number, Integers integers) {
  const bool is_quoted = integers == Integers::kReadable && number > kLargestReadableInteger;
  out += is_quoted ? "\"" : "";
  append_decimal(out, number);
  out += is_quoted ? "\"" : "";
}

void append_payload_members(std::string& out, const _HubProfileReport& report, Integers integers) {
  const profile::Rendering rendering = profile::rendering_of(report);
  const Layout* second = rendering.second != rendering.first ? rendering.second : nullptr;
  bool is_first = true;
  for (const Layout* layout : {rendering.first, second}) {
    if (layout != nullptr) {
      out += is_first ? "" : ",";
      append_key(out, layout->name);
      append_layout(out, *layout, report, integers);
      is_first = false;
    }
  }
}

}  // namespace hub::host
