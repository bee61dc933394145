// SPDX-License-Identifier: Apache-2.0
#include "host/forms/payload_json.h"

#include <span>
#include <string_view>

#include "host/forms/ready_text.h"
#include "host/forms/value_text.h"
#include "profile/catalogue.h"

namespace hub::host {

using profile::Field;
using profile::Form;
using profile::Layout;
using profile::Payload;

namespace {

// Keys and names of layouts are constants of ours that need no escapes.
const ReadyKeys kKeys("{\"", ",\"", "\":");

void append_derived_key(TextBuffer& out, std::string_view key, std::string_view suffix) {
  out += ",\"";
  out += key;
  out += suffix;
  out += "\":";
}

void append_hexadecimal_string(TextBuffer& out, std::span<const std::byte> bytes) {
  out += '"';
  append_hexadecimal(out, bytes);
  out += '"';
}

void append_text(TextBuffer& out, std::string_view key, std::string_view text) {
  if (!append_json_string(out, text)) {
    append_derived_key(out, key, "-bytes");
    append_hexadecimal_string(out, std::as_bytes(std::span(text)));
  }
}

void append_subtype(TextBuffer& out, std::string_view key, std::uint32_t subtype, const _HubProfileReport& report) {
  append_decimal(out, subtype);
  append_derived_key(out, key, "-name");
  append_json_name(out, profile::known_subtype_name(report, subtype), subtype);
}

// The value of a row, and the member that some rows have behind it.
void append_row(TextBuffer& out, const Field& field, const _HubProfileReport& report, Integers integers) {
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

void append_layout(TextBuffer& out, const Layout& layout, const _HubProfileReport& report, Integers integers) {
  out += '"';
  out += layout.name;
  out += "\":";
  const ReadyText* key = kKeys.of(layout).data();
  for (const Field& field : layout.fields) {
    out += *key++;
    append_row(out, field, report, integers);
  }
  out += '}';
}

}  // namespace

void append_json_integer(TextBuffer& out, std::uint64_t number, Integers integers) {
  if (integers == Integers::kAsNumbers || number <= kLargestReadableInteger) {
    append_decimal(out, number);
    return;
  }
  out += '"';
  append_decimal(out, number);
  out += '"';
}

void append_payload_members(TextBuffer& out, const _HubProfileReport& report, Integers integers) {
  const profile::Rendering rendering = profile::rendering_of(report);
  if (rendering.first == nullptr) {
    return;
  }
  append_layout(out, *rendering.first, report, integers);
  if (rendering.second != nullptr && rendering.second != rendering.first) {
    out += ',';
    append_layout(out, *rendering.second, report, integers);
  }
}

}  // namespace hub::host
