// SPDX-License-Identifier: Apache-2.0
// A run of the plug-in: loaded, opened and scheduled as by the HID event system, with a device file in place of
// hardware.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/device/device_file.h"
#include "log/log_host.h"
#include "os/state.h"

namespace hub::host {

struct SessionOptions {
  std::string plugin;                 // the library
  std::optional<std::string> ledger;  // the statistics database; none: in memory
  std::optional<std::string> log;     // where the plug-in's log goes; none: nowhere
  platform::LowestLogLevel log_level = platform::LowestLogLevel::kDefault;
  std::vector<std::uint32_t> captures = {OS_STATE_API_REQUEST};  // the kinds of the captures to make, in order
  std::optional<std::string> captures_folder;                    // where the snapshots go; none: nowhere
};

// Announces the device's services to the plug-in in document order, posts the batches and then the notifications, lets
// the queue finish, makes the captures, and ends. Says in a few lines on `output` what happened, and on `messages` what
// went wrong on the way. Each batch is one transaction of the ledger; when one fails the later ones are not delivered.
//
// False when the run failed after it had begun: the plug-in broke the platform's rules, a batch or the log could not be
// written. Throws what kept it from beginning: PlugInError, platform::LedgerError, CaptureFolderError,
// std::system_error for a file.
// [host, once in the process]
bool run_session(const Device& device, const SessionOptions& options, std::ostream& output, std::ostream& messages);

}  // namespace hub::host
