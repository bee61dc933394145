// SPDX-License-Identifier: Apache-2.0
// Runs that write records, or what is wrong with their order.
#pragma once

#include <iosfwd>

#include "host/captures/profile_run.h"
#include "host/records/record_output.h"

namespace hub::host {

// Writes the records of the inputs in a form. A record is written as soon as it has been read; memory does not grow
// with the input. Records without such a form are counted in a message. Returns the exit status: that of with_output or
// that of ProfileRun::finish.
int write_records(const ProfileRunOptions& options, const RecordOutputOptions& records, std::ostream& messages);

// Writes a line for each loss that the inputs show, and no records. Otherwise as above.
int list_losses(const ProfileRunOptions& options, std::ostream& messages);

}  // namespace hub::host
