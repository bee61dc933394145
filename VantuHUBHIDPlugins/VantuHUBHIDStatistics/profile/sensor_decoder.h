// SPDX-License-Identifier: Apache-2.0
// Category 2, "sensor": samples, register accesses and triggers of the co-processor's sensors.
// One event table serves every component.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::sensor {

extern const NameTable kComponents;
extern const NameTable kEvents;

extern const Category kCategory;

}  // namespace hub::profile::sensor

class sensor_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};
