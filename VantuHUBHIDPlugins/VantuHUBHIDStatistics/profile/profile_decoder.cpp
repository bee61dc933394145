// SPDX-License-Identifier: Apache-2.0
#include "profile/profile_decoder.h"

#include <array>
#include <type_traits>
#include <utility>

#include "profile/core_payloads.h"
#include "profile/line_frame.h"
#include "profile/line_stream.h"
#include "profile/name_table.h"
#include "profile/payload.h"

static_assert(sizeof(profile_decoder) == sizeof(void*), "a decoder is its virtual table and nothing else");
static_assert(std::is_trivially_destructible_v<profile_decoder>, "decoder objects are never destroyed");

using namespace hub::profile;

namespace {

// Room for all but the longest lines, so that one allocation serves the text from its first item to the caller. More
// than this, and the allocator would have to look further than in what the thread has at hand.
constexpr std::size_t kUsualLineLength = 1000;

struct LineNames {
  std::string category;
  std::string component;
  std::string event;
  std::string type;
};

}  // namespace

std::string profile_decoder::to_string(const _HubProfileReport& report) {
  const LineNames names{category_name(report.category_id), component_name(report.component_id),
                        event_name(report.component_id, report.event_id), type_name(report.type_id)};
  const LineTimes times(report);

  std::string line;
  line.reserve(kUsualLineLength);
  line.resize(kBeginningRoom + names.category.size() + names.component.size() + names.event.size());
  line.resize(static_cast<std::size_t>(put_beginning(line.data(), names, report, put_quoted_item) - line.data()));

  LineStream stream;
  stream.begin_with(std::move(line));
  parse_datatype(*stream, report);
  line = stream.take_text();

  std::array<char, kEndRoom> end;
  return line.append(end.data(), put_end(end.data(), report, times));
}

std::string profile_decoder::category_name(unsigned int category) { return name_in(kCategoryNames, category); }

std::string profile_decoder::component_name(unsigned int component) { return std::to_string(component); }

std::string profile_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return std::to_string(event);
}

void profile_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  print_rendering(*stream.rdbuf(), {core_layout(report.type_id)}, payload_of(report));
}

std::string profile_decoder::find_in_table(const entry* table, unsigned int count, unsigned int id) {
  for (const entry& row : std::span(table, count)) {
    if (row.id == id) {
      return row.name;
    }
  }
  return std::to_string(id);
}

std::string profile_decoder::type_name(unsigned int type) { return name_in(kTypeNames, type); }

std::string profile_decoder::key(std::string name) { return " '" + std::move(name) + "':"; }

std::string profile_decoder::str(std::string value) { return "'" + std::move(value) + "'"; }

std::string profile_decoder::dump(const void* data, unsigned int length) {
  const std::span bytes(static_cast<const std::byte*>(data), length);
  std::string text(byte_list_room(length), '\0');
  text.resize(static_cast<std::size_t>(put_byte_list(text.data(), bytes) - text.data()));
  return text;
}
