// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_arguments.h"

#include <string_view>

#include "host/forms/payload_json.h"
#include "host/records/record_fields.h"

namespace hub::host {

void append_record_arguments(TextBuffer& out, const _HubProfileReport& report) {
  char separator = '{';
  for (const HeaderItem& item : kHeaderItems) {
    if (item.name_of == nullptr) {
      ((out += separator) += '"') += item.name;
      out += "\":";
      append_json_integer(out, item.number_of(report), Integers::kReadable);
      separator = ',';
    }
  }
  const std::size_t length_before = out.size();
  out += ',';
  append_payload_members(out, report, Integers::kReadable);
  if (out.size() == length_before + 1) {
    out.truncate(length_before);
  }
  out += '}';
}

}  // namespace hub::host
