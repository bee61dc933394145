// SPDX-License-Identifier: Apache-2.0
// The plug-in's messages: one log for the process, and the form in which failed preconditions are told.
#pragma once

#include <cstdint>

#include "os/log.h"

// Creates the log, once in the process. [event system's thread]
void createPluginLog();

// Gives the log back. Instances that live on, and later ones, still log through it. Nothing before the first creation.
void releasePluginLog();

// The log; NULL, through which nothing is recorded, before it was created. [any thread]
os_log_t pluginLog();

// A precondition that did not hold.
struct FailedCheck {
  const char* prefix = "";
  const char* expression;
  const char* text = "";  // what the kernel says about it; NULL: nothing
  int line;               // of the plug-in's source as the firmware's engineers know it
  std::uint32_t value = 0;
};

// Tells of it at default level. [any thread]
void logAssertion(const FailedCheck& check);
