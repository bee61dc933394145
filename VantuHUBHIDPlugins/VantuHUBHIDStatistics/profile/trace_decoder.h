// SPDX-License-Identifier: Apache-2.0
// Category 1, "trace": the firmware's own queues, endpoints, ticks and interrupts. Events have no names.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::trace {

extern const NameTable kComponents;

extern const Category kCategory;

}  // namespace hub::profile::trace

class trace_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};
