// SPDX-License-Identifier: Apache-2.0
#include "plugin_log.h"

#include "dispatch/dispatch.h"

namespace {

constexpr char kSourcePath[] = "VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics";

os_log_t processLog = nullptr;
dispatch_once_t processLogOnce = 0;

}  // namespace

void createPluginLog() {
  dispatch_once(&processLogOnce, [] { processLog = os_log_create("NEB", "VantuHUBHIDStatistics"); });
}

// Kept: every instance that goes releases the one log, although the once-token stays spent and others log on.
void releasePluginLog() { os_release(processLog); }

os_log_t pluginLog() { return processLog; }

void logAssertion(const FailedCheck& check) {
  if (os_log_type_enabled(pluginLog(), OS_LOG_TYPE_DEFAULT)) {
    os_log(pluginLog(), "%s: AssertMacros: %s, %s file: %s, line: %d value:%x\n", check.prefix, check.expression,
           check.text != nullptr ? check.text : "", kSourcePath, check.line, check.value);
  }
}
