// SPDX-License-Identifier: Apache-2.0
// Category 10, "wake": why, and on whose behalf, the co-processor woke the application processor.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::wake {

extern const NameTable kComponents;
extern const NameTable kEvents;

extern const Layout kRequest;
extern const Layout kWakeEvent;

extern const Category kCategory;

}  // namespace hub::profile::wake

class wake_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override;
};
