// SPDX-License-Identifier: Apache-2.0
#include "host/forms/jsonl_format.h"

#include "host/forms/payload_json.h"
#include "host/forms/value_text.h"
#include "host/records/record_fields.h"
#include "profile/profile_decoder.h"

namespace hub::host {

JsonlFormat::JsonlFormat() {
  header_.reserve(kHeaderItems.size());
  for (const HeaderItem& item : kHeaderItems) {
    header_.push_back({ReadyText(",\"" + std::string(item.name) + "\":"), &item});
  }
}

bool JsonlFormat::append(const _HubProfileReport& report, TextBuffer& out) {
  out += "{\"format\":\"";
  out += kJsonlFormat;
  out += '"';
  append_header(report, out);
  out += ",\"payload\":{";
  append_payload_members(out, report, Integers::kAsNumbers);
  out += "},\"binary-data\":\"";
  append_hexadecimal(out, std::as_bytes(std::span(&report, 1)));
  out += '"';
  append_times(report, out);
  out += "}\n";
  return true;
}

void JsonlFormat::append_header(const _HubProfileReport& report, TextBuffer& out) {
  for (const HeaderMember& member : header_) {
    out += member.key;
    if (member.item->name_of != nullptr) {
      append_json_name(out, member.item->name_of(report), member.item->number_of(report));
    } else {
      append_decimal(out, member.item->number_of(report));
    }
  }
}

void JsonlFormat::append_times(const _HubProfileReport& report, TextBuffer& out) {
  if (profile_decoder::hub_time_to_wall_time(report.timestamp, calendar_time_)) {
    out += ",\"calendar-time\":";
    append_json_string(out, calendar_time_);
  }
  unsigned long long boot_time_us = 0;
  if (profile_decoder::get_boot_time(boot_time_us)) {
    out += ",\"boot-timestamp\":";
    append_decimal(out, boot_time_us);
  }
}

}  // namespace hub::host
