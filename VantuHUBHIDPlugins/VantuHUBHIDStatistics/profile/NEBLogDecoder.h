// SPDX-License-Identifier: Apache-2.0
// The decoders of all categories, and the way to them.
#pragma once

#include <string>

#include "profile/cumulus_decoder.h"
#include "profile/execution_decoder.h"
#include "profile/haptics_decoder.h"
#include "profile/interrupt_decoder.h"
#include "profile/profile_decoder.h"
#include "profile/scm_decoder.h"
#include "profile/sensor_decoder.h"
#include "profile/sphere_decoder.h"
#include "profile/sshb_decoder.h"
#include "profile/trace_decoder.h"
#include "profile/uart_decoder.h"
#include "profile/wake_decoder.h"

// Static members alone; never instantiated. The objects are constant-initialised: they serve before main and after it.
// A category outside the registry has the base decoder, and its number for a name. [any thread]
class NEBLogDecoder {
 public:
  NEBLogDecoder() = delete;

  // The line of a report, by the decoder of its category.
  static std::string to_string(const _HubProfileReport& report);

  // The name of a category; outside the registry the number in decimal.
  static std::string category_to_string(unsigned int category);

  // The name that the category's decoder has for a component, or the number in decimal.
  static std::string component_to_string(unsigned int category, unsigned int component);

  static execution_decoder _exec;
  static trace_decoder _trace;
  static sensor_decoder _sensor;
  static sphere_decoder _sphere;
  static cumulus_decoder _cumulus;
  static interrupt_decoder _interrupt;
  static uart_decoder _uart;
  static sshb_decoder _sshb;
  static profile_decoder _control;
  static scm_decoder _scm;
  static wake_decoder _wake;
  static haptics_decoder _haptics;
  static profile_decoder _cm;
  static profile_decoder _default;  // for every category outside the registry

  static constexpr unsigned int kCategoryCount = 13;
  static profile_decoder* const _decoders[kCategoryCount];  // by category id
};
