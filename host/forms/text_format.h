// SPDX-License-Identifier: Apache-2.0
// Records as the decoder's lines.
#pragma once

#include "host/records/record_format.h"

namespace hub::host {

// Writes each record's CopyProfileDescription and a line end. A record without a description, because a text in it is
// not UTF-8, has no such form.
class TextFormat : public RecordFormat {
 public:
  bool append(const _HubProfileReport& report, TextBuffer& out) override;
};

}  // namespace hub::host
