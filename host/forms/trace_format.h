// SPDX-License-Identifier: Apache-2.0
// Records as Chrome trace events, for viewers that show what runs when.
#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/forms/trace_clock.h"
#include "host/forms/trace_tracks.h"
#include "host/records/record_format.h"
#include "host/text/text_buffer.h"

namespace hub::host {

// One JSON object, a line for each event; complete after begin, any number of records, and end. All times are
// microseconds on the line that trace_clock.h describes: the first record is at 0.
//
//   {"displayTimeUnit":"ms","otherData":{"format":"hub-profile-trace/1"},"traceEvents":[
//   {"name":"process_name","ph":"M","pid":1,"tid":1001,"args":{"name":"exec"}},
//   {"name":"thread_name","ph":"M","pid":1,"tid":1001,"args":{"name":"function thread 5"}},
//   {"name":"function 31","cat":"exec","ph":"X","ts":0,"dur":44,"pid":1,"tid":1001,"args":{...}}
//   ]}
//
// A category is a process, its id + 1. A component is a thread of it, its id + 1. Both have their names in metadata
// before they are used, once.
//
//   functions, external functions   A slice ("X") that ends at the record's stamp, with the duration that the firmware
//                                   gives, taken as microseconds. It is on a thread of its own for each firmware thread
//                                   and task: "function thread 5", "extfunction task 1 thread 5"; what would overlap
//                                   there is on "function thread 5 #2" and so on. A slice that began before the first
//                                   record, or before the co-processor was started anew, is cut there. When
//                                   trace_tracks.h has no place for it, an instant stands for it on the component's
//                                   thread.
//   all other records               An instant ("i") and, as not all viewers show these, a slice; without the slice
//   when
//                                   64 others are at the same time.
//
// A slice is at least a microsecond long, from its start on: viewers lose what has no length, or take it for the outer
// one of two.
//
// Names: of a function with its id, of an external function its own, of a trace point its subtype's, of other records
// the event's. The arguments are the whole record, as trace_arguments.h says. Memory is bounded by what trace_tracks.h
// remembers. One thread writes a trace; each object writes one.
class TraceFormat final : public RecordFormat {
 public:
  void begin(TextBuffer& out) override;
  void end(TextBuffer& out) override;

  // Always true: every record has an event.
  bool append(const _HubProfileReport& report, TextBuffer& out) override;

 private:
  struct Call;  // what a record says of a function that ran

  static std::optional<Call> call_of(const _HubProfileReport& report);

  void append_call(const _HubProfileReport& report, const Call& call, TextBuffer& out);
  void append_point(const _HubProfileReport& report, TextBuffer& out);

  // The thread of the record's component, announced.
  std::uint32_t component_track(const _HubProfileReport& report, TextBuffer& out);
  void announce(const _HubProfileReport& report, std::uint32_t track, std::string_view name, TextBuffer& out);

  void append_metadata(const _HubProfileReport& report, std::string_view what, std::uint32_t track,
                       std::string_view name, TextBuffer& out);
  void append_slice(const _HubProfileReport& report, std::string_view name, std::uint32_t track, const TraceSpan& span,
                    TextBuffer& out);
  void append_instant(const _HubProfileReport& report, std::string_view name, std::uint32_t track,
                      std::uint64_t time_us, TextBuffer& out);
  void begin_event(std::string_view name, TextBuffer& out);
  void append_arguments(TextBuffer& out) const;

  TraceClock clock_;
  TraceTracks tracks_;
  std::bitset<256> announced_categories_;
  bool is_first_event_ = true;
  TextBuffer arguments_;  // their arguments
};

}  // namespace hub::host
