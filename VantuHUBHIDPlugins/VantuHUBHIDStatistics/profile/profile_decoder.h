// SPDX-License-Identifier: Apache-2.0
// The base of the decoder family: one profile report in, one line of text out.
#pragma once

#include <sstream>
#include <string>

#include "profile/profile_report.h"

// A decoder has no data: an object is its table of virtual operations and nothing else, constant-initialised and never
// destroyed. A category's decoder derives from this class directly and replaces slots 2, 3 and, when its payloads have
// layouts of their own, 4. All texts are narrow byte strings; no output depends on a locale. Nothing here fails but for
// memory (std::bad_alloc passes through). [any thread]
class profile_decoder {
 public:
  // A row of a name table.
  struct entry {
    unsigned int id;
    const char* name;  // zero-terminated, constant
  };

  // Slot 0. The whole line of a report: names, numbers, the payload's items, all 48 bytes, and calendar and boot time
  // where they can be had. The names and the payload's items come through slots 1 to 4.
  virtual std::string to_string(const _HubProfileReport& report);

  // Slot 1. The name of a category, or the id in decimal.
  virtual std::string category_name(unsigned int category);

  // Slot 2. The name of a component of this decoder's category. Here: the id in decimal.
  virtual std::string component_name(unsigned int component);

  // Slot 3. The name of an event of this component. Here: the event's id in decimal.
  virtual std::string event_name(unsigned int component, unsigned int event);

  // Slot 4. Appends the payload's items to the line, each ending with ",". The stream writes decimal, with blanks for
  // padding, in the classic locale. Here: the layouts that every category shares.
  virtual void parse_datatype(std::stringstream& stream, const _HubProfileReport& report);

  // The name in the first row with this id, or the id in decimal. `table` may be null when `count` is 0.
  static std::string find_in_table(const entry* table, unsigned int count, unsigned int id);

  // The name of a payload type, or the id in decimal.
  static std::string type_name(unsigned int type);

  static std::string key(std::string name);   // " 'name':"
  static std::string str(std::string value);  // "'value'"

  // The bytes in decimal: "[0,20,255]"; "[]" for none.
  static std::string dump(const void* data, unsigned int length);

  // Local calendar time ("Nov 16 04:51:21.123456", in the zone of TZ) of a co-processor time in microseconds. The
  // clocks are related by the pair of simultaneous readings that the time-sync service in the registry has at this
  // moment, both in nanoseconds; a reading that is missing counts as 0. False, and `out` unchanged, when there is no
  // such service or it has no pair.
  static bool hub_time_to_wall_time(unsigned long long timestamp, std::string& out);

  // When this machine was booted, in microseconds since the epoch. False, and `out` unchanged, when the kernel does not
  // say.
  static bool get_boot_time(unsigned long long& out);
};
