// SPDX-License-Identifier: Apache-2.0
// A form in which records are written. The forms are told apart by what makes one; who reads records knows none.
#pragma once

#include "host/text/text_buffer.h"
#include "profile/profile_report.h"

namespace hub::host {

// Writes records, one after the other, into texts that the caller puts out in the same order. Each thread that writes
// has an object of its own; begin and end are asked of one of them. Throws std::bad_alloc.
class RecordFormat {
 public:
  RecordFormat() = default;
  RecordFormat(const RecordFormat&) = delete;
  RecordFormat& operator=(const RecordFormat&) = delete;
  virtual ~RecordFormat() = default;

  // What stands before the first record and behind the last one, also when there is none. Appended.
  virtual void begin(TextBuffer& /*out*/) {}
  virtual void end(TextBuffer& /*out*/) {}

  // A record of the input that is not written, for forms that show what lies between two records.
  virtual void pass_over(const _HubProfileReport& /*report*/) {}

  // Appends a record. False, and nothing appended, when it has no such form.
  virtual bool append(const _HubProfileReport& report, TextBuffer& out) = 0;
};

}  // namespace hub::host
