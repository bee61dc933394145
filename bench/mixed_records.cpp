// SPDX-License-Identifier: Apache-2.0
#include "bench/mixed_records.h"

#include <random>
#include <string_view>

#include "profile/catalogue.h"

namespace hub::bench {
namespace {

constexpr std::size_t kRecordCount = 20'000;

// Text that real firmware would send: the fields of a text hold a name, not noise that is no UTF-8.
void write_texts(_HubProfileReport& report) {
  const hub::profile::Rendering rendering = hub::profile::rendering_of(report);
  for (const hub::profile::Layout* layout : {rendering.first, rendering.second}) {
    for (const hub::profile::Field& field :
         layout != nullptr ? layout->fields : std::span<const hub::profile::Field>()) {
      if (field.kind.form == hub::profile::Form::kText) {
        std::string_view("accelerometer").copy(reinterpret_cast<char*>(report.payload) + field.at, 8);
        report.payload[field.at + 8 - 1] = 0;
      }
    }
  }
}

// The same records in every run: each category with each type in turn, known components and events, varied numbers.
std::vector<_HubProfileReport> make_records() {
  std::mt19937 random(20260304);
  std::vector<_HubProfileReport> records(kRecordCount);
  for (std::size_t index = 0; index < records.size(); ++index) {
    _HubProfileReport& record = records[index];
    record.category_id = static_cast<std::uint8_t>(index % 13);
    record.type_id = static_cast<std::uint8_t>(index / 13 % 14);
    record.component_id = static_cast<std::uint8_t>(random() % 10);
    record.event_id = static_cast<std::uint8_t>(random() % 4);
    record.sequence_num = static_cast<std::uint32_t>(index);
    record.timestamp = 1'000'000 + 137 * index;
    for (std::uint8_t& byte : record.payload) {
      byte = static_cast<std::uint8_t>(random() >> (random() % 25));
    }
    constexpr std::uint8_t kContextVersions[] = {3, 4, 5, 7};
    if (record.type_id == 10) {
      record.payload[0] = kContextVersions[index % 4];
      record.payload[1] = 0;
    }
    write_texts(record);
  }
  return records;
}

}  // namespace

const std::vector<_HubProfileReport>& mixed_records() {
  static const std::vector<_HubProfileReport> instance = make_records();
  return instance;
}

}  // namespace hub::bench
