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

// Tells, at default level, that `expression` failed at this line of the plug-in's source as the firmware's engineers
// know it. `errorText` may be NULL. [any thread]
void logAssertion(const char* expression, const char* errorText, int line, std::uint32_t value);
