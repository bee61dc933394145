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

bool JsonlFormat::append(const _HubProfileReport& report, std::string& out) {
  line_.clear();
  line_ += "{\"format\":\"";
  line_ += kJsonlFormat;
  line_ += '"';
  append_header(report);
  line_ += ",\"payload\":{";
  append_payload_members(line_, report, Integers::kAsNumbers);
  line_ += "},\"binary-data\":\"";
  append_hexadecimal(line_, std::as_bytes(std::span(&report, 1)));
  line_ += '"';
  append_times(report);
  line_ += "}\n";
  out += line_.view();
  return true;
}

void JsonlFormat::append_header(const _HubProfileReport& report) {
  for (const HeaderMember& member : header_) {
    line_ += member.key;
    if (member.item->name_of != nullptr) {
      append_json_name(line_, member.item->name_of(report), member.item->number_of(report));
    } else {
      append_decimal(line_, member.item->number_of(report));
    }
  }
}

void JsonlFormat::append_times(const _HubProfileReport& report) {
  if (profile_decoder::hub_time_to_wall_time(report.timestamp, calendar_time_)) {
    line_ += ",\"calendar-time\":";
    append_json_string(line_, calendar_time_);
  }
  unsigned long long boot_time_us = 0;
  if (profile_decoder::get_boot_time(boot_time_us)) {
    line_ += ",\"boot-timestamp\":";
    append_decimal(line_, boot_time_us);
  }
}

}  // namespace hub::host
