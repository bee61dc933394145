// SPDX-License-Identifier: Apache-2.0
#include "host/filter/value_tests.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <span>
#include <utility>

#include "profile/payload.h"

namespace hub::host {
namespace {

using Report = _HubProfileReport;

std::uint64_t key_of(const FieldValue& value) {
  return value.type() == FieldType::kReal ? host::key_of(value.real()) : host::key_of(value.number());
}

std::string_view bytes_of(const FieldValue& value) {
  if (value.type() == FieldType::kText) {
    return value.text();
  }
  const std::span<const std::byte> bytes = value.bytes();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Sorted values without repeats.
template <typename Value>
class Among {
 public:
  explicit Among(std::vector<Value> values) : values_(std::move(values)) {
    std::sort(values_.begin(), values_.end());
    values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
  }

  template <typename Wanted>
  [[nodiscard]] bool has(const Wanted& wanted) const {
    return std::binary_search(values_.begin(), values_.end(), wanted, std::less<>());
  }

 private:
  std::vector<Value> values_;
};

class NumberIn final : public ValueTest {
 public:
  explicit NumberIn(const KeyRange& range) : range_(range) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    return range_.contains(key_of(value));
  }

 private:
  KeyRange range_;
};

class NumberAmong final : public ValueTest {
 public:
  explicit NumberAmong(std::vector<std::uint64_t> keys) : keys_(std::move(keys)) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    return keys_.has(key_of(value));
  }

 private:
  Among<std::uint64_t> keys_;
};

class NameAmong final : public ValueTest {
 public:
  NameAmong(NameKind kind, std::vector<std::uint64_t> numbers, std::vector<std::string> names)
      : numbers_(std::move(numbers)),
        names_(kind, [chosen = Among(std::move(names))](std::string_view name) { return chosen.has(name); }) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& report) const override {
    const std::uint64_t number = value.number();
    return numbers_.has(number) || names_.chooses(report, number).value_or(false);
  }

 private:
  Among<std::uint64_t> numbers_;
  NameChoice names_;
};

class NameHas final : public ValueTest {
 public:
  NameHas(NameKind kind, std::unique_ptr<const FilterPattern> pattern)
      : pattern_(std::move(pattern)), names_(kind, [this](std::string_view name) { return pattern_->is_in(name); }) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& report) const override {
    const std::uint64_t number = value.number();
    const std::optional<bool> chosen = names_.chooses(report, number);
    return chosen ? *chosen : is_in_decimal(number);
  }

 private:
  [[nodiscard]] bool is_in_decimal(std::uint64_t number) const {
    std::array<char, 20> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return pattern_->is_in({digits.data(), end});
  }

  std::unique_ptr<const FilterPattern> pattern_;
  NameChoice names_;
};

class BytesAmong final : public ValueTest {
 public:
  explicit BytesAmong(std::vector<std::string> texts) : texts_(std::move(texts)) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    return texts_.has(bytes_of(value));
  }

 private:
  Among<std::string> texts_;
};

class TextStands final : public ValueTest {
 public:
  TextStands(TextOrder order, std::string text) : order_(order), text_(std::move(text)) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    const int comparison = value.text().compare(text_);
    switch (order_) {
      case TextOrder::kBefore:
        return comparison < 0;
      case TextOrder::kBeforeOrEqual:
        return comparison <= 0;
      case TextOrder::kBehind:
        return comparison > 0;
      case TextOrder::kBehindOrEqual:
        return comparison >= 0;
    }
    return false;
  }

 private:
  TextOrder order_;
  std::string text_;
};

class TextHas final : public ValueTest {
 public:
  explicit TextHas(std::unique_ptr<const FilterPattern> pattern) : pattern_(std::move(pattern)) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    return pattern_->is_in(value.text());
  }

 private:
  std::unique_ptr<const FilterPattern> pattern_;
};

class BytesHave final : public ValueTest {
 public:
  explicit BytesHave(std::unique_ptr<const FilterPattern> pattern) : pattern_(std::move(pattern)) {}
  [[nodiscard]] bool holds(const FieldValue& value, const Report& /*report*/) const override {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<char, 2 * profile::kPayloadSize> digits{};
    std::size_t count = 0;
    for (const std::byte byte : value.bytes()) {
      digits[count++] = kDigits[std::to_integer<unsigned>(byte) / 16];
      digits[count++] = kDigits[std::to_integer<unsigned>(byte) % 16];
    }
    return pattern_->is_in({digits.data(), count});
  }

 private:
  std::unique_ptr<const FilterPattern> pattern_;
};

}  // namespace

ValueTestOwner test_number_in(const KeyRange& range) { return std::make_unique<NumberIn>(range); }

ValueTestOwner test_number_among(std::vector<std::uint64_t> keys) {
  return std::make_unique<NumberAmong>(std::move(keys));
}

ValueTestOwner test_name_among(NameKind kind, std::vector<std::uint64_t> numbers, std::vector<std::string> names) {
  return std::make_unique<NameAmong>(kind, std::move(numbers), std::move(names));
}

ValueTestOwner test_name_has(NameKind kind, std::unique_ptr<const FilterPattern> pattern) {
  return std::make_unique<NameHas>(kind, std::move(pattern));
}

ValueTestOwner test_bytes_among(std::vector<std::string> texts) {
  return std::make_unique<BytesAmong>(std::move(texts));
}

ValueTestOwner test_text_order(TextOrder order, std::string text) {
  return std::make_unique<TextStands>(order, std::move(text));
}

ValueTestOwner test_text_has(std::unique_ptr<const FilterPattern> pattern) {
  return std::make_unique<TextHas>(std::move(pattern));
}

ValueTestOwner test_bytes_have(std::unique_ptr<const FilterPattern> pattern) {
  return std::make_unique<BytesHave>(std::move(pattern));
}

}  // namespace hub::host
