// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/ranges/line_walker.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <set>
#include <span>

#include "profile/NEBLogDecoder.h"
#include "profile/core_payloads.h"

namespace hub::test {
namespace {

using namespace hub::profile;

// ---- What a report has: names.

constexpr unsigned kCategories = 13;
constexpr int kEvery = -1;

constexpr const NameTable* kComponentTables[kCategories] = {
    &execution::kComponents,
    &trace::kComponents,
    &sensor::kComponents,
    &sphere::kComponents,
    &cumulus::kComponents,
    &interrupt::kComponents,
    &uart::kComponents,
    &sshb::kComponents,
    nullptr,
    &scm::kComponents,
    &wake::kComponents,
    &haptics::kComponents,
    nullptr,
};

struct NamesOfComponent {
  unsigned category;
  int component;
  const NameTable* table;
};

// The first row that fits.
constexpr NamesOfComponent kEventTables[] = {
    {0, 0, &execution::kSchedulerEvents}, {0, 1, &execution::kFunctionEvents},    {0, 2, &execution::kWorkloopEvents},
    {0, 3, &execution::kCommandEvents},   {0, 4, &execution::kExtFunctionEvents}, {2, kEvery, &sensor::kEvents},
    {3, kEvery, &sphere::kEvents},        {4, kEvery, &cumulus::kEvents},         {5, kEvery, &interrupt::kEvents},
    {6, kEvery, &uart::kEvents},          {7, 3, &sshb::kLatencyEvents},          {7, kEvery, &sshb::kEvents},
    {10, kEvery, &wake::kEvents},         {11, kEvery, &haptics::kEvents},
};

constexpr NamesOfComponent kSubtypeTables[] = {
    {7, 0, &sshb::kSubtypes}, {7, 1, &sshb::kSubtypes},     {7, 2, &sshb::kSubtypes},     {7, 3, &sshb::kLatencyEvents},
    {7, 4, &sshb::kSubtypes}, {11, 7, &haptics::kSubtypes}, {11, 8, &haptics::kSubtypes}, {11, 9, &haptics::kSubtypes},
};

const NameTable* table_of(std::span<const NamesOfComponent> rows, const _HubProfileReport& report) {
  for (const NamesOfComponent& row : rows) {
    if (row.category == report.category_id && (row.component == kEvery || row.component == report.component_id)) {
      return row.table;
    }
  }
  return nullptr;
}

const NameTable* components_of(const _HubProfileReport& report) {
  return report.category_id < kCategories ? kComponentTables[report.category_id] : nullptr;
}

// ---- What a report has: layouts, one after the other.

using Layouts = std::array<const Layout*, 2>;

const Layout* common_layout(const _HubProfileReport& report) {
  constexpr const Layout* kByType[] = {
      nullptr, &kLongData,   &kShortData,   &kEvent, &kTrigger,    &kFunction,       nullptr,
      nullptr, &kSensorInfo, &kExtFunction, nullptr, &kAnnotation, &kDecimationInfo,
  };
  return report.type_id < std::size(kByType) ? kByType[report.type_id] : nullptr;
}

bool header_is(const _HubProfileReport& report, std::uint32_t word) {
  return (static_cast<std::uint32_t>(report.category_id) << 24U |
          static_cast<std::uint32_t>(report.component_id) << 16U | static_cast<std::uint32_t>(report.event_id) << 8U |
          report.type_id) == word;
}

Layouts cumulus_layouts(const _HubProfileReport& report) {
  if (header_is(report, 0x04000103)) {
    return {&cumulus::kDataOut, nullptr};
  }
  const Layout* own = header_is(report, 0x04000003) ? &cumulus::kDataIn : nullptr;
  return {own, common_layout(report)};
}

const Layout* context_layout(const _HubProfileReport& report) {
  const unsigned version = report.payload[0] + 256U * report.payload[1];
  return version == 3   ? &sshb::kContext3
         : version == 4 ? &sshb::kContext4
         : version == 5 ? &sshb::kContext5
         : version == 7 ? &sshb::kContext7
                        : nullptr;
}

// Short data of a button that is neither an input packet nor a status event has its common items twice.
Layouts button_layouts(const _HubProfileReport& report) {
  constexpr unsigned kInputPacket = 2;
  constexpr unsigned kStatusEvent = 3;
  const Layout* common = common_layout(report);
  switch (report.type_id) {
    case 2:
      return {report.event_id == kStatusEvent   ? &sshb::kStatusEvent
              : report.event_id == kInputPacket ? nullptr
                                                : common,
              common};
    case 3:
      return {&sshb::kTrace, common};
    case 10:
      return {context_layout(report), common};
    default:
      return {common, nullptr};
  }
}

Layouts wake_layouts(const _HubProfileReport& report) {
  return {header_is(report, 0x0A00010D)   ? &wake::kRequest
          : header_is(report, 0x0A000203) ? &wake::kWakeEvent
                                          : common_layout(report),
          nullptr};
}

Layouts haptics_layouts(const _HubProfileReport& report) {
  const bool has_own = report.component_id != 5 && report.component_id != 6;
  if (has_own && report.type_id == 3) {
    return {&haptics::kTrace, nullptr};
  }
  if (has_own && report.type_id == 2 && (report.event_id == 1 || report.event_id == 2)) {
    return {report.event_id == 1 ? &haptics::kAmpState : &haptics::kPlayRequest, nullptr};
  }
  return {common_layout(report), nullptr};
}

Layouts layouts_of(const _HubProfileReport& report) {
  switch (report.category_id) {
    case 4:
      return cumulus_layouts(report);
    case 7:
      return button_layouts(report);
    case 10:
      return wake_layouts(report);
    case 11:
      return haptics_layouts(report);
    default:
      return {common_layout(report), nullptr};
  }
}

// ---- How a value is written.

// A number in decimal or hexadecimal.
class Digits {
 public:
  explicit Digits(std::uint64_t number, int base = 10)
      : end_(std::to_chars(text_.data(), text_.data() + text_.size(), number, base).ptr) {}
  operator std::string_view() const {  // NOLINT(google-explicit-constructor)
    return {text_.data(), static_cast<std::size_t>(end_ - text_.data())};
  }

 private:
  std::array<char, 20> text_;
  char* end_;
};

// A name of the table's first row with this id, or the id in decimal.
class Shown {
 public:
  Shown(const NameTable* table, std::uint32_t id) : digits_(id), text_(digits_) {
    if (table == nullptr) {
      return;
    }
    const auto rows = table->rows();
    const auto row = std::find_if(rows.begin(), rows.end(), [id](const auto& candidate) { return candidate.id == id; });
    if (row != rows.end()) {
      text_ = row->name;
    }
  }
  Shown(const Shown&) = delete;
  Shown& operator=(const Shown&) = delete;
  operator std::string_view() const { return text_; }  // NOLINT(google-explicit-constructor)

 private:
  Digits digits_;
  std::string_view text_;
};

// Goes along a line. From the first piece that is not there it stands still.
class Walker {
 public:
  Walker(std::string_view line, const _HubProfileReport& report) : line_(line), rest_(line), report_(report) {}

  std::string fault() {
    beginning();
    for (const Layout* layout : layouts_of(report_)) {
      if (layout != nullptr) {
        std::for_each(layout->fields.begin(), layout->fields.end(), [this](const Field& field) { item(field); });
      }
    }
    end();
    if (stopped_) {
      return "expected \"" + missing_ + "\" at " + std::to_string(line_.size() - rest_.size()) +
             " of: " + std::string(line_);
    }
    return rest_.empty() ? "" : "more than a line: " + std::string(line_);
  }

 private:
  void beginning() {
    go("{ ");
    quoted("category", Shown(&kCategoryNames, report_.category_id), 8);
    quoted("component", Shown(components_of(report_), report_.component_id), 8);
    quoted("event", Shown(table_of(kEventTables, report_), report_.event_id), 12);
    quoted("type", Shown(&kTypeNames, report_.type_id), 12);
    plain("timestamp", Digits(report_.timestamp), 10);
    plain("sequence_num", Digits(report_.sequence_num), 10);
  }

  void end() {
    plain("type-id", Digits(report_.type_id));
    plain("category-id", Digits(report_.category_id));
    plain("component-id", Digits(report_.component_id));
    plain("event-id", Digits(report_.event_id));
    key("binary-data");
    go("[");
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&report_);
    for (std::size_t at = 0; at < sizeof report_; ++at) {
      go(at == 0 ? "" : ",");
      go(Digits(bytes[at]));
    }
    go("]}");
  }

  void item(const Field& field) {
    switch (field.kind.form) {
      case Form::kUnsigned:
        return plain(field.key.view(), Digits(number(field.at, field.kind.width_bytes)), field.column);
      case Form::kConstant:
        return plain(field.key.view(), Digits(field.kind.detail), field.column);
      case Form::kQuotedHex:  // the column is that of the first quote
        key(field.key.view());
        padded("'", field.column);
        go(Digits(number(field.at, 4), 16));
        return go("',");
      case Form::kFixedPoint:
        return fixed_point(field);
      case Form::kText:
        return quoted(field.key.view(), text(field.at, field.kind.width_bytes), field.column);
      case Form::kBytes:
        return list(field);
      case Form::kSubtype:
        return quoted(field.key.view(),
                      Shown(table_of(kSubtypeTables, report_), static_cast<std::uint32_t>(number(field.at, 4))),
                      field.column);
    }
  }

  void fixed_point(const Field& field) {
    const auto bits = static_cast<std::int32_t>(static_cast<std::uint32_t>(number(field.at, 4)));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", bits / static_cast<double>(1U << field.kind.detail));
    plain(field.key.view(), text.data(), field.column);
  }

  void list(const Field& field) {
    std::uint64_t count = field.kind.width_bytes;
    if (field.length_at != kWholeList) {
      count = std::min(count, number(field.length_at, 2));
    }
    std::array<char, 160> text;
    std::size_t length = 0;
    text[length++] = '[';
    for (std::uint64_t index = 0; index < count; ++index) {
      if (index > 0) {
        text[length++] = ',';
      }
      const Digits digits(report_.payload[field.at + index]);
      length += std::string_view(digits).copy(text.data() + length, 3);
    }
    text[length++] = ']';
    plain(field.key.view(), {text.data(), length}, field.column);
  }

  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t width_bytes) const {
    std::uint64_t value = 0;
    for (std::size_t index = width_bytes; index > 0; --index) {
      value = value * 256 + report_.payload[at + index - 1];
    }
    return value;
  }

  [[nodiscard]] std::string_view text(std::size_t at, std::size_t most) const {
    const std::string_view whole(reinterpret_cast<const char*>(report_.payload) + at, most);
    return whole.substr(0, whole.find('\0'));
  }

  void key(std::string_view name) {
    go(" '");
    go(name);
    go("':");
  }

  void plain(std::string_view name, std::string_view value, std::size_t column = 0) {
    key(name);
    padded(value, column);
    go(",");
  }

  void quoted(std::string_view name, std::string_view value, std::size_t column) {
    key(name);
    blanks(value.size() + 2, column);
    go("'");
    go(value);
    go("',");
  }

  void padded(std::string_view value, std::size_t column) {
    blanks(value.size(), column);
    go(value);
  }

  void blanks(std::size_t used, std::size_t column) {
    for (; used < column; ++used) {
      go(" ");
    }
  }

  void go(std::string_view piece) {
    if (stopped_) {
      return;
    }
    if (!rest_.starts_with(piece)) {
      stopped_ = true;
      missing_ = piece;
      return;
    }
    rest_.remove_prefix(piece.size());
  }

  std::string_view line_;
  std::string_view rest_;
  const _HubProfileReport& report_;
  bool stopped_ = false;
  std::string missing_;
};

}  // namespace

std::string fault_of(std::string_view line, const _HubProfileReport& report) { return Walker(line, report).fault(); }

std::vector<unsigned> event_edges(unsigned category) {
  std::set<unsigned> edges = {0, 1, 2, 3, 255};
  for (const NamesOfComponent& row : kEventTables) {
    if (row.category != category) {
      continue;
    }
    std::set<unsigned> named;
    for (const auto& name : row.table->rows()) {
      named.insert(name.id);
    }
    for (const unsigned id : named) {
      if (!named.contains(id + 1)) {
        edges.insert({id, id + 1});
      }
      if (id > 0 && !named.contains(id - 1)) {
        edges.insert({id - 1, id});
      }
    }
  }
  return {edges.begin(), edges.end()};
}

}  // namespace hub::test
