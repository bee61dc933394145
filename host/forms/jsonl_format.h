// SPDX-License-Identifier: Apache-2.0
// Records as JSON, one object a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/forms/ready_text.h"
#include "host/records/record_fields.h"
#include "host/records/record_format.h"
#include "host/text/text_buffer.h"

namespace hub::host {

// What every object names as its format. docs/jsonl.md says what changes the number.
inline constexpr std::string_view kJsonlFormat = "hub-profile/1";

// Writes each record as an object on a line of its own that ends in "\n", in UTF-8. Every record has this form.
//
// The members, in this order: "format"; the header under the names of a line; "payload", an object with a member for
// each layout, an object with its rows by key; "binary-data"; "calendar-time" and "boot-timestamp" where they can be
// had. payload_json.h says what rows are.
class JsonlFormat : public RecordFormat {
 public:
  JsonlFormat();

  bool append(const _HubProfileReport& report, TextBuffer& out) override;

 private:
  // An item's key with what stands around it.
  struct HeaderMember {
    ReadyText key;
    const HeaderItem* item;
  };

  void append_header(const _HubProfileReport& report, TextBuffer& out);
  void append_times(const _HubProfileReport& report, TextBuffer& out);

  std::vector<HeaderMember> header_;
  std::string calendar_time_;  // its time
};

}  // namespace hub::host
