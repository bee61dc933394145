// SPDX-License-Identifier: Apache-2.0
#include "host/forms/jsonl_format.h"

#include "host/forms/payload_json.h"
#include "host/forms/value_text.h"
#include "host/records/record_fields.h"
#include "profile/profile_decoder.h"

namespace hub::host {
namespace {

// The next member's key. Keys are constants of ours that need no escapes.
void append_key(std::string& out, std::string_view key) {
  out += ",\"";
  out += key;
  out += "\":";
}

void append_number_member(std::string& out, std::string_view key, std::uint64_t number) {
  append_key(out, key);
  append_decimal(out, number);
}

void append_string_member(std::string& out, std::string_view key, std::string_view text) {
  append_key(out, key);
  append_json_string(out, text);
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
  append_key(out, "payload");
  out += '{';
  append_payload_members(out, report, Integers::kAsNumbers);
  out += '}';
  append_key(out, "binary-data");
  out += '"';
  append_hexadecimal(out, std::as_bytes(std::span(&report, 1)));
  out += '"';
  append_times(out, report);
  out += "}\n";
  return true;
}

}  // namespace hub::host
