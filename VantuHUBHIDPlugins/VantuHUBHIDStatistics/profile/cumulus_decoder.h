// SPDX-License-Identifier: Apache-2.0
// Category 4, "cumulus": vectors into and out of it, in fixed point.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::cumulus {

extern const NameTable kComponents;
extern const NameTable kEvents;

extern const Layout kDataIn;
extern const Layout kDataOut;

extern const Category kCategory;

}  // namespace hub::profile::cumulus

class cumulus_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override;
};
