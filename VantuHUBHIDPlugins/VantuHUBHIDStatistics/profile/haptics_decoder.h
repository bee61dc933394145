// SPDX-License-Identifier: Apache-2.0
// Category 11, "haptics": the haptics manager, its kernel-side counterpart and the detent generator.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::haptics {

extern const NameTable kComponents;
extern const NameTable kEvents;
extern const NameTable kSubtypes;

extern const Layout kTrace;
extern const Layout kAmpState;
extern const Layout kPlayRequest;

extern const Category kCategory;

}  // namespace hub::profile::haptics

class haptics_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override;

  // The name of a trace point of the haptics manager, its kernel extension or the detent generator; of any other
  // component the number in decimal.
  std::string subtype_name(unsigned int component, unsigned int subtype);
};
