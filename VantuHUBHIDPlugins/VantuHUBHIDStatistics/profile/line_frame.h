// SPDX-License-Identifier: Apache-2.0
// All of a line but the payload's items: what stands in front of them, and behind them.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "profile/clocks.h"
#include "profile/item_text.h"
#include "profile/profile_decoder.h"
#include "profile/profile_report.h"

namespace hub::profile {

// The two times of a line that are not in the report, where they can be had.
struct LineTimes {
  explicit LineTimes(const _HubProfileReport& report)
      : has_calendar(find_calendar_time(report.timestamp, calendar)),
        has_boot(profile_decoder::get_boot_time(boot_us)) {}

  CalendarTime calendar;
  bool has_calendar;
  unsigned long long boot_us = 0;
  bool has_boot;
};

// Constants, not literals where they are used: a key that is put together on the stack is copied before it is there.
namespace keys {

inline constexpr ItemKey kCategory{"category"};
inline constexpr ItemKey kComponent{"component"};
inline constexpr ItemKey kEvent{"event"};
inline constexpr ItemKey kType{"type"};
inline constexpr ItemKey kTimestamp{"timestamp"};
inline constexpr ItemKey kSequenceNum{"sequence_num"};
inline constexpr ItemKey kTypeId{"type-id"};
inline constexpr ItemKey kCategoryId{"category-id"};
inline constexpr ItemKey kComponentId{"component-id"};
inline constexpr ItemKey kEventId{"event-id"};
inline constexpr ItemKey kBinaryData{"binary-data"};
inline constexpr ItemKey kCalendarTime{"calendar-time"};
inline constexpr ItemKey kBootTimestamp{"boot-timestamp"};

}  // namespace keys

// The room for the beginning beside what the names take: six keys, columns and numbers. And the room for the end.
inline constexpr std::size_t kBeginningRoom = 256;
inline constexpr std::size_t kEndRoom = 6 * item_room(0) + item_room(byte_list_room(sizeof(_HubProfileReport)));

// Stores the beginning and returns its end. `put_name(out, key, name, column)` stores the item of a name.
template <typename Names, typename PutName>
char* put_beginning(char* out, const Names& names, const _HubProfileReport& report, const PutName& put_name) {
  out = put_text(out, "{ ");
  out = put_name(out, keys::kCategory, names.category, 8);
  out = put_name(out, keys::kComponent, names.component, 8);
  out = put_name(out, keys::kEvent, names.event, 12);
  out = put_name(out, keys::kType, names.type, 12);
  out = put_number_item(out, keys::kTimestamp, report.timestamp, 10);
  return put_number_item(out, keys::kSequenceNum, report.sequence_num, 10);
}

// Stores the end and returns where the line ends.
inline char* put_end(char* out, const _HubProfileReport& report, const LineTimes& times) {
  out = put_byte_item(out, keys::kTypeId, report.type_id);
  out = put_byte_item(out, keys::kCategoryId, report.category_id);
  out = put_byte_item(out, keys::kComponentId, report.component_id);
  out = put_byte_item(out, keys::kEventId, report.event_id);
  out = put_byte_list_item(out, keys::kBinaryData, std::as_bytes(std::span(&report, 1)), 0);
  if (times.has_calendar) {
    out = keys::kCalendarTime.put(out);
    *out++ = '\'';
    out = times.calendar.put(out);
    *out++ = '\'';
    *out++ = ',';
  }
  if (times.has_boot) {
    out = put_number_item(out, keys::kBootTimestamp, times.boot_us, 0);
  }
  out[-1] = '}';  // in place of the last item's comma
  return out;
}

}  // namespace hub::profile
