// SPDX-License-Identifier: Apache-2.0
// What a filter asks of one value. Each makes no memory of its own when it is asked.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/filter/filter_names.h"
#include "host/filter/filter_number.h"
#include "host/filter/filter_pattern.h"
#include "host/records/record_fields.h"

namespace hub::host {

class ValueTest {
 public:
  ValueTest() = default;
  ValueTest(const ValueTest&) = delete;
  ValueTest& operator=(const ValueTest&) = delete;
  virtual ~ValueTest() = default;

  // The value is of the type that the test is for, and of this record. [any thread]
  [[nodiscard]] virtual bool holds(const FieldValue& value, const _HubProfileReport& report) const = 0;
};

using ValueTestOwner = std::unique_ptr<const ValueTest>;

// kNumber, kReal, kName: its key is in the range.
ValueTestOwner test_number_in(const KeyRange& range);

// kNumber, kReal: its key is one of these.
ValueTestOwner test_number_among(std::vector<std::uint64_t> keys);

// kName: its number is one of these, or its name one of those.
ValueTestOwner test_name_among(NameKind kind, std::vector<std::uint64_t> numbers, std::vector<std::string> names);

// kName: the pattern is in its name, or in the decimal number of one that has none.
ValueTestOwner test_name_has(NameKind kind, std::unique_ptr<const FilterPattern> pattern);

// kText, kBytes: it is one of these, byte by byte.
ValueTestOwner test_bytes_among(std::vector<std::string> texts);

// How a text stands to another, byte by byte, the bytes unsigned.
enum class TextOrder : std::uint8_t { kBefore, kBeforeOrEqual, kBehind, kBehindOrEqual };

// kText: it stands so to this one.
ValueTestOwner test_text_order(TextOrder order, std::string text);

// kText: the pattern is in it.
ValueTestOwner test_text_has(std::unique_ptr<const FilterPattern> pattern);

// kBytes: the pattern is in its lower-case hexadecimal digits.
ValueTestOwner test_bytes_have(std::unique_ptr<const FilterPattern> pattern);

}  // namespace hub::host
