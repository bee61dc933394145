// SPDX-License-Identifier: Apache-2.0
// Category 7, "sshb": the solid-state button with its haptics and amplifiers.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

namespace hub::profile::sshb {

extern const NameTable kComponents;
extern const NameTable kLatencyEvents;  // of component 3
extern const NameTable kEvents;         // of every other component
extern const NameTable kSubtypes;

extern const Layout kTrace;
extern const Layout kStatusEvent;
extern const Layout kContext3;
extern const Layout kContext4;
extern const Layout kContext5;
extern const Layout kContext7;

extern const Category kCategory;

}  // namespace hub::profile::sshb

class sshb_decoder : public profile_decoder {
 public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& stream, const _HubProfileReport& report) override;

  // The name of a trace point. Latency trace points are named like the events of their component, by slot 3; components
  // without trace points of their own give the number in decimal.
  std::string subtype_name(unsigned int component, unsigned int subtype);
};
