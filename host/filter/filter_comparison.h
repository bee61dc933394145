// SPDX-License-Identifier: Apache-2.0
// A comparison of a filter: what may be compared with what, and whether it holds for a record.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/filter/filter_lexer.h"
#include "host/filter/value_tests.h"
#include "host/records/record_fields.h"

namespace hub::host {

enum class Operator : std::uint8_t {
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kIn,
  kMatches,
};

// A value as it stands in the expression.
struct FilterValue {
  std::size_t at;
  std::string text;
  std::optional<FilterNumber> number;  // none: it is a text
};

// A comparison as it stands in the expression: one value, or more behind kIn.
struct WrittenComparison {
  RecordField field;
  Operator operation;
  std::size_t operation_at;
  std::vector<FilterValue> values;
};

class Comparison {
 public:
  // Throws FilterError when the field's type has no such operator, or the operator does not take such a value.
  Comparison(WrittenComparison written, std::string_view expression);

  [[nodiscard]] bool holds(const _HubProfileReport& report) const;  // [any thread]

 private:
  RecordField field_;
  bool is_negated_;  // kNotEqual: no value may pass the test
  ValueTestOwner test_;
};

}  // namespace hub::host
