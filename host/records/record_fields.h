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
  std::string_view (*name_of)(const _HubProfileReport& report);  // null: a plain number; empty: has none
};

// category, component, event, type (with names); timestamp, sequence_num, type-id, category-id, component-id, event-id.
extern const std::span<const HeaderItem> kHeaderItems;

// The type of what an item or a row holds.
constexpr FieldType type_of(const HeaderItem& item) {
  return item.name_of != nullptr ? FieldType::kName : FieldType::kNumber;
}

constexpr FieldType type_of(const profile::Field& field) {
  switch (field.kind.form) {
    case profile::Form::kUnsigned:
    case profile::Form::kConstant:
    case profile::Form::kQuotedHex:
      return FieldType::kNumber;
    case profile::Form::kFixedPoint:
      return FieldType::kReal;
    case profile::Form::kText:
      return FieldType::kText;
    case profile::Form::kBytes:
      return FieldType::kBytes;
    case profile::Form::kSubtype:
      return FieldType::kName;
  }
  return FieldType::kNumber;
}

// One value of a record: of its header, or of a row of its payload. It refers to the record, which must outlive it.
// Only the getters that go with its type may be called.
class FieldValue {
 public:
  FieldValue(const _HubProfileReport& report, const HeaderItem& item) : report_(&report), item_(&item) {}
  FieldValue(const _HubProfileReport& report, const profile::Field& field) : report_(&report), field_(&field) {}

  [[nodiscard]] FieldType type() const { return field_ != nullptr ? type_of(*field_) : type_of(*item_); }
  [[nodiscard]] bool is_hexadecimal() const {  // whether the line shows the number so
    return field_ != nullptr && field_->kind.form == profile::Form::kQuotedHex;
  }
  [[nodiscard]] std::uint64_t number() const {  // kNumber, kName
    return field_ != nullptr ? profile::number_of(*field_, profile::payload_of(*report_)) : item_->number_of(*report_);
  }
  [[nodiscard]] double real() const {  // kReal
    return profile::real_of(*field_, profile::payload_of(*report_));
  }
  [[nodiscard]] std::string_view text() const {  // kText; points into the record
    return profile::text_of(*field_, profile::payload_of(*report_));
  }
  [[nodiscard]] std::span<const std::byte> bytes() const {  // kBytes; points into the record
    return profile::bytes_of(*field_, profile::payload_of(*report_));
  }
  [[nodiscard]] std::string_view known_name() const;  // kName; constant; empty: the number stands for it

 private:
  friend class FieldValues;
  FieldValue() = default;

  const _HubProfileReport* report_ = nullptr;
  const HeaderItem* item_ = nullptr;  // one of the two
  const profile::Field* field_ = nullptr;
};

// A record has at most one value of a name in each of its two layouts.
class FieldValues {
 public:
  void add(const FieldValue& value) { values_[count_++] = value; }
  [[nodiscard]] bool empty() const { return count_ == 0; }
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] const FieldValue& operator[](std::size_t index) const { return values_[index]; }

 private:
  FieldValue values_[2];
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
  static const std::vector<std::string>& all_names();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] FieldType type() const { return type_; }

  // The item, when the field is of the header: values_of then has its value alone. Null: of a payload.
  [[nodiscard]] const HeaderItem* header_item() const { return header_item_; }

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
