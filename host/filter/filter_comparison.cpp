// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_comparison.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/filter/filter_error.h"

namespace hub::host {
namespace {

// What the tests are made of.
struct Source {
  const WrittenComparison& written;
  std::string_view expression;

  [[nodiscard]] const FilterValue& value() const { return written.values.front(); }
  [[noreturn]] void refuse(std::size_t at, const std::string& problem) const {
    throw FilterError(problem, expression, at);
  }
};

// The names of ids

// Texts of digits alone are numbers, any other must be a name that there is.
void resolve_name(FilterValue& value, NameKind kind, const std::vector<std::string>& known,
                  std::string_view expression) {
  if (!value.text.empty() && value.text.find_first_not_of("0123456789") == std::string::npos) {
    const auto number = parse_decimal(value.text);
    if (!number) {
      throw FilterError("expected a number of at most 64 bits", expression, value.at);
    }
    value.number = FilterNumber{false, *number, {}};
  } else if (!std::binary_search(known.begin(), known.end(), value.text)) {
    const std::string question = did_you_mean(value.text, known);
    throw FilterError("unknown " + std::string(word_for(kind)) + " " + quoted_briefly(value.text) +
                          (question.empty() ? "; expected one of their names, or a number" : question),
                      expression, value.at);
  }
}

void resolve_names(WrittenComparison& written, std::string_view expression) {
  if (written.field.type() != FieldType::kName || written.operation == Operator::kMatches) {
    return;
  }
  const NameKind kind = name_kind_of(written.field);
  const std::vector<std::string> known = all_names_of(kind);
  for (FilterValue& value : written.values) {
    if (!value.number) {
      resolve_name(value, kind, known, expression);
    }
  }
}

// Tests of numbers

NumberLine line_of(const RecordField& field) {
  return field.type() == FieldType::kReal ? NumberLine::kFixedPoint : NumberLine::kUnsigned;
}

// The keys of those numbers that a field can have at all.
std::vector<std::uint64_t> keys_of(const WrittenComparison& written) {
  std::vector<std::uint64_t> keys;
  for (const FilterValue& value : written.values) {
    const KeyPlace place = value.number ? place_of(*value.number, line_of(written.field)) : KeyPlace{};
    if (place.exact) {
      keys.push_back(*place.floor);
    }
  }
  return keys;
}

ValueTestOwner numbers_among(const Source& source) { return test_number_among(keys_of(source.written)); }

ValueTestOwner numbers_in_range(const Source& source) {
  struct Row {
    Operator operation;
    KeyRange (*range)(const KeyPlace& place);
  };
  static constexpr Row kRows[] = {
      {Operator::kLess, keys_below},
      {Operator::kLessOrEqual, keys_below_or_at},
      {Operator::kGreater, keys_above},
      {Operator::kGreaterOrEqual, keys_above_or_at},
  };
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows), [&source](const Row& candidate) {
    return candidate.operation == source.written.operation;
  });
  return test_number_in(row->range(place_of(*source.value().number, line_of(source.written.field))));
}

// Tests of names

ValueTestOwner names_among(const Source& source) {
  std::vector<std::string> names;
  for (const FilterValue& value : source.written.values) {
    if (!value.number) {
      names.push_back(value.text);
    }
  }
  std::vector<std::uint64_t> numbers = keys_of(source.written);
  return names.empty() ? test_number_among(std::move(numbers))
                       : test_name_among(name_kind_of(source.written.field), std::move(numbers), std::move(names));
}

std::unique_ptr<const FilterPattern> pattern_of(const Source& source) try {
  return std::make_unique<const FilterPattern>(source.value().text);
} catch (const PatternError& error) {
  source.refuse(source.value().at, std::string("expected a regular expression: ") + error.what());
}

ValueTestOwner names_with_pattern(const Source& source) {
  return test_name_has(name_kind_of(source.written.field), pattern_of(source));
}

// Tests of texts and bytes

std::vector<std::string> texts_of(const WrittenComparison& written) {
  std::vector<std::string> texts;
  for (const FilterValue& value : written.values) {
    texts.push_back(value.text);
  }
  return texts;
}

ValueTestOwner texts_among(const Source& source) { return test_bytes_among(texts_of(source.written)); }

ValueTestOwner texts_in_order(const Source& source) {
  struct Row {
    Operator operation;
    TextOrder order;
  };
  static constexpr Row kRows[] = {
      {Operator::kLess, TextOrder::kBefore},
      {Operator::kLessOrEqual, TextOrder::kBeforeOrEqual},
      {Operator::kGreater, TextOrder::kBehind},
      {Operator::kGreaterOrEqual, TextOrder::kBehindOrEqual},
  };
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows), [&source](const Row& candidate) {
    return candidate.operation == source.written.operation;
  });
  return test_text_order(row->order, source.value().text);
}

ValueTestOwner texts_with_pattern(const Source& source) { return test_text_has(pattern_of(source)); }

std::string bytes_of(const FilterValue& value, const Source& source) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::string& digits = value.text;
  if (digits.size() % 2 != 0 || digits.find_first_not_of(kDigits) != std::string::npos) {
    source.refuse(value.at, "expected bytes as pairs of lower-case hexadecimal digits, such as \"0a01\"");
  }
  std::string bytes;
  for (std::size_t index = 0; index < digits.size(); index += 2) {
    bytes += static_cast<char>(kDigits.find(digits[index]) * 16 + kDigits.find(digits[index + 1]));
  }
  return bytes;
}

ValueTestOwner bytes_among(const Source& source) {
  std::vector<std::string> bytes;
  for (const FilterValue& value : source.written.values) {
    bytes.push_back(bytes_of(value, source));
  }
  return test_bytes_among(std::move(bytes));
}

ValueTestOwner bytes_with_pattern(const Source& source) { return test_bytes_have(pattern_of(source)); }

// What may be compared with what

enum class OperatorGroup : std::uint8_t { kEquality, kOrder, kPattern };

OperatorGroup group_of(Operator operation) {
  switch (operation) {
    case Operator::kEqual:
    case Operator::kNotEqual:
    case Operator::kIn:
      return OperatorGroup::kEquality;
    case Operator::kMatches:
      return OperatorGroup::kPattern;
    default:
      return OperatorGroup::kOrder;
  }
}

enum class Takes : std::uint8_t { kNumber, kText, kBoth };

struct Rule {
  FieldType type;
  OperatorGroup group;
  Takes takes;
  std::string_view expected;  // as a value
  ValueTestOwner (*make_test)(const Source& source);
};

constexpr std::string_view kBytesText = "its bytes as a text in quotes, such as \"0a01\"";

// A type has no other operators than these.
// clang-format off
constexpr Rule kRules[] = {
    {FieldType::kNumber, OperatorGroup::kEquality, Takes::kNumber, "a number",             numbers_among},
    {FieldType::kNumber, OperatorGroup::kOrder,    Takes::kNumber, "a number",             numbers_in_range},
    {FieldType::kReal,   OperatorGroup::kEquality, Takes::kNumber, "a number",             numbers_among},
    {FieldType::kReal,   OperatorGroup::kOrder,    Takes::kNumber, "a number",             numbers_in_range},
    {FieldType::kName,   OperatorGroup::kEquality, Takes::kBoth,   "a name or a number",   names_among},
    {FieldType::kName,   OperatorGroup::kOrder,    Takes::kNumber, "a number",             numbers_in_range},
    {FieldType::kName,   OperatorGroup::kPattern,  Takes::kText,   "a regular expression", names_with_pattern},
    {FieldType::kText,   OperatorGroup::kEquality, Takes::kText,   "a text in quotes",     texts_among},
    {FieldType::kText,   OperatorGroup::kOrder,    Takes::kText,   "a text in quotes",     texts_in_order},
    {FieldType::kText,   OperatorGroup::kPattern,  Takes::kText,   "a regular expression", texts_with_pattern},
    {FieldType::kBytes,  OperatorGroup::kEquality, Takes::kText,   kBytesText,             bytes_among},
    {FieldType::kBytes,  OperatorGroup::kPattern,  Takes::kText,   "a regular expression", bytes_with_pattern},
};

struct TypeRow {
  FieldType type;
  std::string_view is;
  std::string_view operators;
};
constexpr TypeRow kTypes[] = {
    {FieldType::kNumber, "a number",                "==, !=, <, <=, >, >= or in"},
    {FieldType::kReal,   "a number",                "==, !=, <, <=, >, >= or in"},
    {FieldType::kName,   "a number that has names", "==, !=, <, <=, >, >=, =~ or in"},
    {FieldType::kText,   "a text",                  "==, !=, <, <=, >, >=, =~ or in"},
    {FieldType::kBytes,  "a list of bytes",         "==, !=, =~ or in"},
};
// clang-format on

const TypeRow& row_of(FieldType type) {
  return *std::find_if(std::begin(kTypes), std::end(kTypes), [type](const TypeRow& row) { return row.type == type; });
}

// How an error begins: "duration" is a number: expected
std::string beginning(const RecordField& field) {
  return quoted_briefly(field.name()) + " is " + std::string(row_of(field.type()).is) + ": expected ";
}

const Rule& rule_for(const Source& source) {
  const FieldType type = source.written.field.type();
  const OperatorGroup group = group_of(source.written.operation);
  for (const Rule& rule : kRules) {
    if (rule.type == type && rule.group == group) {
      return rule;
    }
  }
  source.refuse(source.written.operation_at, beginning(source.written.field) + std::string(row_of(type).operators));
}

bool takes(const Rule& rule, const FilterValue& value) {
  return rule.takes == Takes::kBoth || (rule.takes == Takes::kNumber) == value.number.has_value();
}

void refuse_other_values(const Rule& rule, const Source& source) {
  for (const FilterValue& value : source.written.values) {
    if (!takes(rule, value)) {
      source.refuse(value.at, beginning(source.written.field) + std::string(rule.expected) + ", found " +
                                  (value.number ? "a number" : "a text"));
    }
  }
}

ValueTestOwner make_test(WrittenComparison& written, std::string_view expression) {
  const Source source{written, expression};
  const Rule& rule = rule_for(source);
  resolve_names(written, expression);
  refuse_other_values(rule, source);
  return rule.make_test(source);
}

}  // namespace

Comparison::Comparison(WrittenComparison written, std::string_view expression)
    : field_(written.field),
      is_negated_(written.operation == Operator::kNotEqual),
      test_(make_test(written, expression)) {}

bool Comparison::holds(const _HubProfileReport& report) const {
  const FieldValues values = field_.values_of(report);
  bool is_one = false;
  for (std::size_t index = 0; index < values.size() && !is_one; ++index) {
    is_one = test_->holds(values[index], report);
  }
  return !values.empty() && is_one != is_negated_;
}

}  // namespace hub::host
