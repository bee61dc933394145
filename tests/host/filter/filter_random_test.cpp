// SPDX-License-Identifier: Apache-2.0
// Filters made by chance, over records made by chance, against an evaluator that does all by the book: a tree, no
// short way round, numbers as hundredths.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/filter/record_filter.h"
#include "host/records/record_fields.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using host::FieldValues;
using host::RecordField;
using host::RecordFilter;

class Chance {
 public:
  unsigned below(unsigned limit) { return static_cast<unsigned>(engine_()) % limit; }
  template <typename Values>
  auto one_of(const Values& values) {
    return values[below(static_cast<unsigned>(std::size(values)))];
  }

 private:
  std::mt19937 engine_{20240229};  // NOLINT(cert-msc51-cpp): the same each time
};

struct Node {
  enum Kind { kComparison, kNot, kAnd, kOr } kind = kComparison;
  std::vector<Node> parts;
  std::optional<RecordField> field;
  std::string operation;
  std::vector<std::int64_t> hundredths;
};

constexpr const char* kFields[] = {"sequence_num", "category", "event", "type-id", "arg1", "sshb-trace.arg1", "depth"};
constexpr const char* kOperations[] = {"==", "!=", "<", "<=", ">", ">=", "in"};

Node random_node(Chance& chance, unsigned depth) {
  Node node;
  node.kind = depth == 0 ? Node::kComparison : static_cast<Node::Kind>(chance.below(4));
  if (node.kind != Node::kComparison) {
    const unsigned count = node.kind == Node::kNot ? 1 : 2 + chance.below(2);
    for (unsigned part = 0; part < count; ++part) {
      node.parts.push_back(random_node(chance, depth - 1));
    }
    return node;
  }
  node.field = RecordField::named(chance.one_of(kFields));
  node.operation = chance.one_of(kOperations);
  const unsigned count = node.operation == "in" ? 1 + chance.below(3) : 1;
  for (unsigned value = 0; value < count; ++value) {
    constexpr std::int64_t kFractions[] = {0, 0, 0, 50, -1};
    node.hundredths.push_back(static_cast<std::int64_t>(chance.below(9)) * 100 - 100 + chance.one_of(kFractions));
  }
  return node;
}

std::string text_of(std::int64_t hundredths) {
  const auto amount = static_cast<std::uint64_t>(hundredths < 0 ? -hundredths : hundredths);
  const std::string fraction = std::to_string(100 + amount % 100).substr(1);
  return (hundredths < 0 ? "-" : "") + std::to_string(amount / 100) + (amount % 100 != 0 ? "." + fraction : "");
}

std::string text_of(const Node& node);

// In parentheses only where the precedence asks for them.
std::string text_inside(const Node& part, const Node& whole) {
  return part.kind > whole.kind ? "(" + text_of(part) + ")" : text_of(part);
}

std::string text_of(const Node& node) {
  if (node.kind == Node::kComparison) {
    std::string values;
    for (const std::int64_t hundredths : node.hundredths) {
      values += (values.empty() ? "" : ", ") + text_of(hundredths);
    }
    return node.field->name() + " " + node.operation + " " + (node.operation == "in" ? "(" + values + ")" : values);
  }
  std::string text =
      node.kind == Node::kNot ? "!" + text_inside(node.parts[0], node) : text_inside(node.parts[0], node);
  for (std::size_t part = 1; part < node.parts.size(); ++part) {
    text += (node.kind == Node::kAnd ? " && " : " || ") + text_inside(node.parts[part], node);
  }
  return text;
}

bool compares(const std::string& operation, std::int64_t one, std::int64_t other) {
  return operation == "<"    ? one < other
         : operation == "<=" ? one <= other
         : operation == ">"  ? one > other
         : operation == ">=" ? one >= other
                             : one == other;
}

bool comparison_holds(const Node& node, const _HubProfileReport& sample) {
  const FieldValues values = node.field->values_of(sample);
  bool is_one = false;
  for (std::size_t index = 0; index < values.size(); ++index) {
    for (const std::int64_t hundredths : node.hundredths) {
      is_one = is_one || compares(node.operation, static_cast<std::int64_t>(values[index].number()) * 100, hundredths);
    }
  }
  return values.size() > 0 && (node.operation == "!=" ? !is_one : is_one);
}

bool holds(const Node& node, const _HubProfileReport& sample) {
  if (node.kind == Node::kComparison) {
    return comparison_holds(node, sample);
  }
  std::size_t count = 0;
  for (const Node& part : node.parts) {
    count += holds(part, sample) ? 1 : 0;
  }
  return node.kind == Node::kNot ? count == 0 : node.kind == Node::kAnd ? count == node.parts.size() : count > 0;
}

_HubProfileReport random_record(Chance& chance) {
  constexpr unsigned kCategories[] = {0, 4, 7, 11};
  return report(chance.one_of(kCategories), chance.below(8), chance.below(6), 3 + 2 * chance.below(2))
      .sequence(chance.below(7))
      .u32(0, chance.below(7))
      .u32(8, chance.below(7))
      .u32(16, chance.below(7));
}

TEST(RandomFilter, agrees_with_an_evaluation_by_the_book) {
  Chance chance;
  std::size_t matched = 0;
  std::vector<_HubProfileReport> records;
  for (int count = 0; count < 30; ++count) {
    records.push_back(random_record(chance));
  }
  for (int turn = 0; turn < 250; ++turn) {
    const Node node = random_node(chance, 4);
    const RecordFilter filter = RecordFilter::parse(text_of(node));
    for (const _HubProfileReport& record : records) {
      const bool expected = holds(node, record);
      matched += expected ? 1 : 0;
      ASSERT_EQ(filter.matches(record), expected) << text_of(node);
    }
  }
  EXPECT_GT(matched, 1500U);
  EXPECT_LT(matched, 6000U);
}

}  // namespace
}  // namespace hub::test
