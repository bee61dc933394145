// SPDX-License-Identifier: Apache-2.0
#include "host/figures/figure_json.h"

#include <array>
#include <string_view>

#include "host/text/utf8_text.h"

namespace hub::host {
namespace {

struct IdKeys {
  const char* id;
  const char* name;
};

constexpr std::array<IdKeys, kLevelCount> kIdKeys = {
    {{"category_id", "category"}, {"component_id", "component"}, {"event_id", "event"}}};

std::string hex_text(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char character : bytes) {
    const auto byte = static_cast<std::uint8_t>(character);
    text += {kDigits[byte / 16U], kDigits[byte % 16U]};
  }
  return text;
}

}  // namespace

FigureJson group_json(GroupKey key, Level level) {
  FigureJson json = FigureJson::object();
  std::size_t row = 0;
  for (const NamedId& id : ids_of(key, level)) {
    json[kIdKeys[row].id] = id.id;
    json[kIdKeys[row].name] = id.name;
    ++row;
  }
  return json;
}

FigureJson function_json(const FunctionKey& key) {
  FigureJson json = {{"layout", key.layout_name()}};
  if (!key.has_name()) {
    json["function_id"] = key.number;
    return json;
  }
  const std::string_view name = key.name_text();
  json["function"] = name;
  if (utf8_prefix_bytes(name) < name.size()) {
    json["function_bytes"] = hex_text(name);
  }
  return json;
}

std::string document_text(const FigureJson& document) {
  constexpr int kIndent = 2;
  return document.dump(kIndent, ' ', false, FigureJson::error_handler_t::replace) + "\n";
}

}  // namespace hub::host
