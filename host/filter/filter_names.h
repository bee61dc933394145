// SPDX-License-Identifier: Apache-2.0
// Names of ids, looked up once: which ids of a record have one of certain names, without making a name for each record.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/records/record_fields.h"
#include "profile/name_table.h"

namespace hub::host {

// The fields of FieldType::kName by whose names they have.
enum class NameKind : std::uint8_t { kCategory, kComponent, kEvent, kType, kSubtype };

NameKind name_kind_of(const RecordField& field);

// "category", "component", ...
std::string_view word_for(NameKind kind);

// Every name that an id of this kind has anywhere, each once, in order.
std::vector<std::string> all_names_of(NameKind kind);

// Which of all names are chosen, by id.
class NameChoice {
 public:
  // Asks of every name once.
  NameChoice(NameKind kind, const std::function<bool(std::string_view name)>& is_chosen);

  // Whether the name that a record's id has is chosen. Nothing when the id has no name. [any thread]
  [[nodiscard]] std::optional<bool> chooses(const _HubProfileReport& report, std::uint64_t id) const;

 private:
  struct Id {
    std::uint64_t id;
    bool is_chosen;
  };
  struct Table {
    const profile_decoder::entry* rows;  // which table it is
    std::vector<Id> ids;                 // by id
  };
  static Table choose(profile::NameTable names, const std::function<bool(std::string_view name)>& is_chosen);

  profile::NameTable (*table_of_)(const _HubProfileReport& report);  // the one in which an id has its name
  std::vector<Table> tables_;
};

}  // namespace hub::host
