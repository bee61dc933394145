// SPDX-License-Identifier: Apache-2.0
// Scenarios that are repeated with one allocation after the other failing, each time in a process of its own.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace hub::test {

// What a scenario throws when what it called said, as its header has it, that there is no memory: NULL, false or a
// code.
struct Refused {};

// What a library that a scenario stands on cannot do without memory, and nobody above it can mend.
struct LibraryLimits {
  bool may_terminate = false;        // its destructors take memory
  bool may_abort = false;            // it ends the process by abort()
  bool may_leak = false;             // its constructors lose what they have made when they throw
  std::size_t most_kept_blocks = 0;  // it keeps as many more or fewer blocks for later use
};

struct Scenario {
  const char* name;
  // What came of it, to be compared with what comes of it when nothing fails. Throws Refused, and what the functions
  // that it calls throw by their headers.
  std::string (*run)();
  // What is made without memory may lack parts, for the functions' headers say so: of lines, the missing ones are told
  // apart from wrong ones.
  bool may_lack_lines = false;
  LibraryLimits library = {};
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
