// SPDX-License-Identifier: Apache-2.0
// Scenarios that are repeated with one allocation after the other failing, each time in a process of its own.
#pragma once

#include <span>
#include <string>

namespace hub::test {

// What a scenario throws when what it called said, as its header has it, that there is no memory: NULL, false or a
// code.
struct Refused {};

struct Scenario {
  const char* name;
  // What came of it, to be compared with what comes of it when nothing fails. Throws Refused, and what the functions
  // that it calls throw by their headers.
  std::string (*run)();
  // What is made without memory may lack parts, for the functions' headers say so: of lines, the missing ones are told
  // apart from wrong ones.
  bool may_lack_lines = false;
  // Its JSON ends the process when that library's values are destroyed without memory: their destructors take some.
  bool may_terminate = false;
  bool begins_itself = false;  // what comes before begin_failing() has memory
};

extern const std::span<const Scenario> kPlatformScenarios;
extern const std::span<const Scenario> kHostScenarios;
extern const std::span<const Scenario> kPlugInScenarios;

// Between these, allocations are counted and fail. The end may come twice.
void begin_failing();
void end_failing();

// A file's or folder's name below a folder that is empty when a scenario begins, and removed afterwards.
std::string scratch(const std::string& name);

// The file's bytes; Refused when there is none.
std::string content_of(const std::string& file);

}  // namespace hub::test
