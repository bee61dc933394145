// SPDX-License-Identifier: Apache-2.0
// What a trace's event tells of its record.
#pragma once

#include "host/text/text_buffer.h"
#include "profile/profile_report.h"

namespace hub::host {

// Appends an object with all that a record says: sequence_num, timestamp, the four ids, then its payload as
// payload_json.h has it, with integers that every reader keeps. [any thread]
void append_record_arguments(TextBuffer& out, const _HubProfileReport& report);

}  // namespace hub::host
