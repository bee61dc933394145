// SPDX-License-Identifier: Apache-2.0
// What can be asked of a record by name: the ids, the clock, the counter, and every item of its payload.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "profile/catalogue.h"

namespace hub::host {

enum class FieldType : std::uint8_t {
  kNumber,  // unsigned, up to 64 bits
  kReal,    // a fraction, exactly
  kText,    // bytes that are usually UTF-8, none of them zero
  kBytes,   // bytes of any value
  kName,    // a number that has a name, or its own decimal form for one
};

// An item that every record has. The names are those of a line.
struct HeaderItem {
  std::string_view name;
  std::uint64_t (*number_of)(const _HubProfileReport& report);
  std::string (*name_of)(const _HubProfileReport& report);  // null: a plain number
};

// category, component, event, type (with names); timestamp, sequence_num, type-id, category-id, component-id, event-id.
extern const std::span<const HeaderItem> kHeaderItems;

// One value of a record: of its header, or of a row of its payload. It refers to the record, which must outlive it.
// Only the getters that go with its type may be called.
class FieldValue {
 public:
  FieldValue(const _HubProfileReport& report, const HeaderItem& item) : report_(&report), item_(&item) {}
  FieldValue(const _HubProfileReport& report, const profile::Field& field) : report_(&report), field_(&field) {}

  [[nodiscard]] FieldType type() const;
  [[nodiscard]] bool is_hexadecimal() const;               // whether the line shows the number so
  [[nodiscard]] std::uint64_t number() const;              // kNumber, kName
  [[nodiscard]] double real() const;                       // kReal
  [[nodiscard]] std::string_view text() const;             // kText; points into the record
  [[nodiscard]] std::span<const std::byte> bytes() const;  // kBytes; points into the record
  [[nodiscard]] std::string name() const;                  // kName

 private:
  const _HubProfileReport* report_;
  const HeaderItem* item_ = nullptr;  // one of the two
  const profile::Field* field_ = nullptr;
};

// The type of what a row holds.
FieldType type_of(const profile::Field& field);

// A record has at most one value of a name in each of its two layouts.
class FieldValues {
 public:
  void add(const FieldValue& value) { values_[count_++].emplace(value); }
  [[nodiscard]] bool empty() const { return count_ == 0; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] const FieldValue& operator[](std::size_t index) const { return *values_[index]; }

 private:
  std::optional<FieldValue> values_[2];
  std::size_t count_ = 0;
};

// A name that records can be asked for, looked up once.
//
//   category, timestamp, ...               an item of the header
//   duration, context-version, name, ...   an item's key, in whatever layouts have it; its type is the same in all
//   sshb-trace.arg1                        LAYOUT.KEY: in this layout alone
class RecordField {
 public:
  // Nothing when no record has a field of this name.
  static std::optional<RecordField> named(std::string_view name);

  // All names in the order above, the keys once each, then those with a layout. For completion and messages.
  static std::vector<std::string> all_names();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] FieldType type() const { return type_; }

  // What a record has under this name, in the order of its line. A layout that a record shows twice counts once.
  // [any thread]
  [[nodiscard]] FieldValues values_of(const _HubProfileReport& report) const;

 private:
  struct Row {
    const profile::Layout* layout;
    const profile::Field* field;
  };
  std::string name_;
  FieldType type_ = FieldType::kNumber;
  const HeaderItem* header_item_ = nullptr;  // null: rows_ have it
  std::vector<Row> rows_;
};

// The known names nearest to one that is not known, best first: for "did you mean". At most three, none that has little
// in common with it.
std::vector<std::string> nearest_names(std::string_view unknown, std::span<const std::string> known);

}  // namespace hub::host
