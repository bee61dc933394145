// SPDX-License-Identifier: Apache-2.0
// Category 0, "exec": the scheduler, work loops, commands and functions of the firmware. Each component but "timing"
// has an event table of its own.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::execution {

extern const NameTable kComponents;
extern const NameTable kSchedulerEvents;
extern const NameTable kFunctionEvents;
extern const NameTable kWorkloopEvents;
extern const NameTable kCommandEvents;
extern const NameTable kExtFunctionEvents;

extern const Category kCategory;

}  // namespace hub::profile::execution

class execution_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};
