// SPDX-License-Identifier: Apache-2.0
#include "host/forms/trace_format.h"

#include <algorithm>
#include <span>

#include "host/forms/payload_json.h"
#include "host/forms/trace_arguments.h"
#include "host/forms/value_text.h"
#include "host/records/record_fields.h"
#include "profile/NEBLogDecoder.h"
#include "profile/core_payloads.h"

namespace hub::host {

using profile::Field;
using profile::Layout;

// What a record says of a function that ran.
struct TraceFormat::Call {
  TraceThread thread;
  std::uint64_t duration_us;
  std::uint32_t depth;  // 0: not told
  std::string name;
};

namespace {

using Report = _HubProfileReport;

// What the span is drawn as.
TraceSpan visible(const TraceSpan& span) {
  constexpr std::uint64_t kLeastLength_us = 1;
  return {span.start_us, std::max(span.end_us, span.start_us + kLeastLength_us)};
}

std::string category_name(const Report& report) { return NEBLogDecoder::category_to_string(report.category_id); }

std::string component_name(const Report& report) {
  return NEBLogDecoder::component_to_string(report.category_id, report.component_id);
}

unsigned process_of(const Report& report) { return report.category_id + 1U; }

bool has_layout(const Report& report, const Layout& layout) {
  const profile::Rendering rendering = profile::rendering_of(report);
  return rendering.first == &layout || rendering.second == &layout;
}

// The value of a row that the layout has.
FieldValue value_in(const Report& report, const Layout& layout, std::string_view key) {
  const Field* field = layout.fields.data();
  while (field->key != key) {
    ++field;
  }
  return {report, *field};
}

std::uint32_t number_in(const Report& report, const Layout& layout, std::string_view key) {
  return static_cast<std::uint32_t>(value_in(report, layout, key).number());
}

// The name of the record's trace point, if it is one; otherwise its event's.
std::string point_name(const Report& report) {
  const profile::Rendering rendering = profile::rendering_of(report);
  for (const Layout* layout : {rendering.first, rendering.second}) {
    for (const Field& field : layout != nullptr ? layout->fields : std::span<const Field>()) {
      if (field.kind.form == profile::Form::kSubtype) {
        return profile::subtype_name_of(report, static_cast<std::uint32_t>(FieldValue(report, field).number()));
      }
    }
  }
  return profile::event_name_of(report);
}

std::string external_function_name(const Report& report) {
  const std::string_view name = value_in(report, profile::kExtFunction, "function").text();
  return name.empty() ? profile::event_name_of(report) : std::string(name);
}

std::string lane_name(const Report& report, const TraceThread& thread, std::size_t lane) {
  std::string name = component_name(report);
  if (thread.task) {
    name += " task " + std::to_string(*thread.task);
  }
  name += " thread " + std::to_string(thread.thread);
  if (lane > 0) {
    name += " #" + std::to_string(lane + 1);
  }
  return name;
}

void append_number(std::string_view key, std::uint64_t number, TextBuffer& out) {
  out += key;
  append_json_integer(out, number, Integers::kReadable);
}

void append_category(const Report& report, TextBuffer& out) {
  out += R"(,"cat":)";
  append_json_string(out, category_name(report));
}

void append_track(const Report& report, std::uint32_t track, TextBuffer& out) {
  append_number(R"(,"pid":)", process_of(report), out);
  append_number(R"(,"tid":)", track, out);
}

}  // namespace

void TraceFormat::begin(TextBuffer& out) {
  out += R"({"displayTimeUnit":"ms","otherData":{"format":"hub-profile-trace/1"},"traceEvents":[)";
}

void TraceFormat::end(TextBuffer& out) { out += "\n]}\n"; }

bool TraceFormat::append(const Report& report, TextBuffer& out) {
  arguments_.clear();
  append_record_arguments(arguments_, report);
  if (const auto call = call_of(report)) {
    append_call(report, *call, out);
  } else {
    append_point(report, out);
  }
  return true;
}

std::optional<TraceFormat::Call> TraceFormat::call_of(const Report& report) {
  const auto number = [&report](const Layout& layout, std::string_view key) { return number_in(report, layout, key); };
  if (has_layout(report, profile::kFunction)) {
    const Layout& layout = profile::kFunction;
    return Call{{report.category_id, report.component_id, std::nullopt, number(layout, "thread-id")},
                number(layout, "duration"),
                number(layout, "depth"),
                profile::event_name_of(report) + " " + std::to_string(number(layout, "function-id"))};
  }
  if (has_layout(report, profile::kExtFunction)) {
    const Layout& layout = profile::kExtFunction;
    return Call{{report.category_id, report.component_id, number(layout, "task"), number(layout, "thread")},
                number(layout, "duration"),
                0,
                external_function_name(report)};
  }
  return std::nullopt;
}

void TraceFormat::append_call(const Report& report, const Call& call, TextBuffer& out) {
  const TraceSpan span = clock_.place(report, call.duration_us);
  if (const auto track = tracks_.lane_for(call.thread, visible(span), call.depth)) {
    if (track->is_new) {
      announce(report, track->id, lane_name(report, call.thread, track->lane), out);
    }
    append_slice(report, call.name, track->id, visible(span), out);
  } else {
    append_instant(report, call.name, component_track(report, out), span.end_us, out);
  }
}

void TraceFormat::append_point(const Report& report, TextBuffer& out) {
  const TraceSpan span = clock_.place(report, 0);
  const std::string name = point_name(report);
  const std::uint32_t track = component_track(report, out);
  append_instant(report, name, track, span.end_us, out);
  if (tracks_.has_room(report.category_id, report.component_id, span.end_us)) {
    append_slice(report, name, track, visible(span), out);
  }
}

std::uint32_t TraceFormat::component_track(const Report& report, TextBuffer& out) {
  const TraceTrack track = tracks_.track_of(report.category_id, report.component_id);
  if (track.is_new) {
    announce(report, track.id, component_name(report), out);
  }
  return track.id;
}

void TraceFormat::announce(const Report& report, std::uint32_t track, std::string_view name, TextBuffer& out) {
  if (!announced_categories_.test(report.category_id)) {
    announced_categories_.set(report.category_id);
    append_metadata(report, "process_name", track, category_name(report), out);
  }
  append_metadata(report, "thread_name", track, name, out);
}

void TraceFormat::append_metadata(const Report& report, std::string_view what, std::uint32_t track,
                                  std::string_view name, TextBuffer& out) {
  begin_event(what, out);
  out += R"(,"ph":"M")";
  append_track(report, track, out);
  out += R"(,"args":{"name":)";
  append_json_string(out, name);
  out += "}}";
}

void TraceFormat::append_slice(const Report& report, std::string_view name, std::uint32_t track, const TraceSpan& span,
                               TextBuffer& out) {
  begin_event(name, out);
  append_category(report, out);
  append_number(R"(,"ph":"X","ts":)", span.start_us, out);
  append_number(R"(,"dur":)", span.length_us(), out);
  append_track(report, track, out);
  append_arguments(out);
}

void TraceFormat::append_instant(const Report& report, std::string_view name, std::uint32_t track,
                                 std::uint64_t time_us, TextBuffer& out) {
  begin_event(name, out);
  append_category(report, out);
  append_number(R"(,"ph":"i","s":"t","ts":)", time_us, out);
  append_track(report, track, out);
  append_arguments(out);
}

void TraceFormat::begin_event(std::string_view name, TextBuffer& out) {
  out += std::string_view(is_first_event_ ? "\n" : ",\n");
  is_first_event_ = false;
  out += R"({"name":)";
  append_json_string(out, name);
}

void TraceFormat::append_arguments(TextBuffer& out) const {
  out += R"(,"args":)";
  out += arguments_.view();
  out += '}';
}

}  // namespace hub::host
