// SPDX-License-Identifier: Apache-2.0
// Category 9, "scm": the serial buses that sensors hang on. Events have no names.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::scm {

extern const NameTable kComponents;

extern const Category kCategory;

}  // namespace hub::profile::scm

class scm_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};
