// SPDX-License-Identifier: Apache-2.0
#include "host/profile/jsonl_format.h"

#include "host/profile/record_fields.h"
#include "host/profile/value_text.h"
#include "host/utf8_text.h"
#include "profile/catalogue.h"
#include "profile/profile_decoder.h"

namespace hub::host {
namespace {

using profile::Field;
using profile::Form;
using profile::Layout;
using profile::Payload;

// The next member's key. Keys are constants of ours that need no escapes.
void append_key(std::string& out, char separator, std::string_view key) {
  out += separator;
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

void append_number_member(std::string& out, std::string_view key, std::uint64_t number) {
  append_key(out, ',', key);
  append_decimal(out, number);
}

void append_string_member(std::string& out, std::string_view key, std::string_view text) {
  append_key(out, ',', key);
  append_json_string(out, text);
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
void append_row(std::string& out, const Field& field, const _HubProfileReport& report) {
  const Payload payload = profile::payload_of(report);
  switch (field.kind.form) {
    case Form::kUnsigned:
    case Form::kConstant:
      append_decimal(out, profile::number_of(field, payload));
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

void append_layout(std::string& out, const Layout& layout, const _HubProfileReport& report) {
  char separator = '{';
  for (const Field& field : layout.fields) {
    append_key(out, separator, field.key);
    append_row(out, field, report);
    separator = ',';
  }
  out += '}';
}

void append_payload(std::string& out, const _HubProfileReport& report) {
  const profile::Rendering rendering = profile::rendering_of(report);
  const Layout* second = rendering.second != rendering.first ? rendering.second : nullptr;
  append_key(out, ',', "payload");
  char separator = '{';
  for (const Layout* layout : {rendering.first, second}) {
    if (layout != nullptr) {
      append_key(out, separator, layout->name);
      append_layout(out, *layout, report);
      separator = ',';
    }
  }
  out += separator == '{' ? "{}" : "}";
}

void append_header(std::string& out, const _HubProfileReport& report) {
  for (const HeaderItem& item : kHeaderItems) {
    if (item.name_of != nullptr) {
      append_string_member(out, item.name, item.name_of(report));
    } else {
      append_number_member(out, item.name, item.number_of(report));
    }
  }
}

void append_times(std::string& out, const _HubProfileReport& report) {
  std::string calendar_time;
  if (profile_decoder::hub_time_to_wall_time(report.timestamp, calendar_time)) {
    append_string_member(out, "calendar-time", calendar_time);
  }
  unsigned long long boot_time_us = 0;
  if (profile_decoder::get_boot_time(boot_time_us)) {
    append_number_member(out, "boot-timestamp", boot_time_us);
  }
}

}  // namespace

bool JsonlFormat::append(const _HubProfileReport& report, std::string& out) {
  out += "{\"format\":\"";
  out += kJsonlFormat;
  out += '"';
  append_header(out, report);
  append_payload(out, report);
  append_key(out, ',', "binary-data");
  append_hexadecimal_string(out, std::as_bytes(std::span(&report, 1)));
  append_times(out, report);
  out += "}\n";
  return true;
}

}  // namespace hub::host
