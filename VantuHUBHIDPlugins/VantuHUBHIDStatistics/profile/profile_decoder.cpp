// SPDX-License-Identifier: Apache-2.0
#include "profile/profile_decoder.h"

#include <locale>
#include <type_traits>
#include <utility>

#include "profile/core_payloads.h"
#include "profile/item_writer.h"
#include "profile/name_table.h"
#include "profile/payload.h"

static_assert(sizeof(profile_decoder) == sizeof(void*), "a decoder is its virtual table and nothing else");
static_assert(std::is_trivially_destructible_v<profile_decoder>, "decoder objects are never destroyed");

namespace {

using hub::profile::ItemWriter;

// Room for all but the longest lines, so that one allocation serves the text from the first item to the caller.
constexpr std::size_t kUsualLineLength = 1536;

void quoted_item(ItemWriter& line, std::string_view key, std::string_view value, std::size_t column) {
  line.key(key);
  line.quoted(value, column);
  line.text(",");
}

void number_item(ItemWriter& line, std::string_view key, std::uint64_t value, std::size_t column = 0) {
  line.key(key);
  line.number(value, column);
  line.text(",");
}

}  // namespace

std::string profile_decoder::to_string(const _HubProfileReport& report) {
  const std::string category = category_name(report.category_id);
  const std::string component = component_name(report.component_id);
  const std::string event = event_name(report.component_id, report.event_id);
  const std::string type = type_name(report.type_id);
  std::string calendar_time;
  const bool has_calendar_time = hub_time_to_wall_time(report.timestamp, calendar_time);
  unsigned long long boot_time = 0;
  const bool has_boot_time = get_boot_time(boot_time);

  std::string room;
  room.reserve(kUsualLineLength);
  std::stringstream stream(std::move(room));
  stream.imbue(std::locale::classic());
  ItemWriter line(*stream.rdbuf());

  line.text("{ ");
  quoted_item(line, "category", category, 8);
  quoted_item(line, "component", component, 8);
  quoted_item(line, "event", event, 12);
  quoted_item(line, "type", type, 12);
  number_item(line, "timestamp", report.timestamp, 10);
  number_item(line, "sequence_num", report.sequence_num, 10);
  line.flush();

  parse_datatype(stream, report);

  number_item(line, "type-id", report.type_id);
  number_item(line, "category-id", report.category_id);
  number_item(line, "component-id", report.component_id);
  number_item(line, "event-id", report.event_id);
  line.key("binary-data");
  line.byte_list(std::as_bytes(std::span(&report, 1)), 0);
  if (has_calendar_time) {
    line.text(",");
    line.key("calendar-time");
    line.quoted(calendar_time, 0);
  }
  if (has_boot_time) {
    line.text(",");
    line.key("boot-timestamp");
    line.number(boot_time, 0);
  }
  line.text("}");
  line.flush();
  return std::move(stream).str();
}

std::string profile_decoder::category_name(unsigned int category) {
  return hub::profile::name_in(hub::profile::kCategoryNames, category);
}

std::string profile_decoder::component_name(unsigned int component) { return std::to_string(component); }

std::string profile_decoder::event_name(unsigned int /*component*/, unsigned int event) {
  return std::to_string(event);
}

void profile_decoder::parse_datatype(std::stringstream& stream, const _HubProfileReport& report) {
  hub::profile::print_rendering(*stream.rdbuf(), {hub::profile::core_layout(report.type_id)},
                                hub::profile::payload_of(report));
}

std::string profile_decoder::find_in_table(const entry* table, unsigned int count, unsigned int id) {
  for (const entry& row : std::span(table, count)) {
    if (row.id == id) {
      return row.name;
    }
  }
  return std::to_string(id);
}

std::string profile_decoder::type_name(unsigned int type) {
  return hub::profile::name_in(hub::profile::kTypeNames, type);
}

std::string profile_decoder::key(std::string name) { return " '" + std::move(name) + "':"; }

std::string profile_decoder::str(std::string value) { return "'" + std::move(value) + "'"; }

std::string profile_decoder::dump(const void* data, unsigned int length) {
  const std::span bytes(static_cast<const std::byte*>(data), length);
  std::string text(hub::profile::byte_list_length(bytes), '\0');
  hub::profile::put_byte_list(text.data(), bytes);
  return text;
}
