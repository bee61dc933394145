// SPDX-License-Identifier: Apache-2.0
#include "bench/three_types.h"

#include <cstring>
#include <iterator>
#include <random>
#include <string_view>

#include "profile/catalogue.h"
#include "profile/core_payloads.h"

namespace hub::bench {
namespace {

using Random = std::mt19937;

constexpr std::uint8_t kEventType = 3;
constexpr std::uint8_t kFunctionType = 5;
constexpr std::uint8_t kSensorInfoType = 8;

std::uint32_t below(Random& random, std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); }

// As many numbers of one digit as of nine.
std::uint32_t of_any_size(Random& random) { return static_cast<std::uint32_t>(random() >> (random() % 32)); }

template <typename Value>
Value one_of(Random& random, const Value (&values)[3]) {
  return values[random() % std::size(values)];
}

void put_u32(_HubProfileReport& report, std::size_t at, std::uint32_t value) {
  for (std::size_t index = 0; index < sizeof(value); ++index) {
    report.payload[at + index] = static_cast<std::uint8_t>(value >> (8 * index));
  }
}

void write_event(_HubProfileReport& report, Random& random) {
  constexpr std::size_t kArguments = 6;
  for (std::size_t index = 0; index < kArguments; ++index) {
    put_u32(report, 4 * index, of_any_size(random));
  }
}

void write_function(_HubProfileReport& report, Random& random) {
  const std::uint32_t duration = of_any_size(random) >> 8;
  put_u32(report, 0, below(random, 2000));                          // function-id
  put_u32(report, 4, of_any_size(random));                          // extra-id
  put_u32(report, 8, below(random, 40));                            // thread-id
  put_u32(report, 12, duration);                                    // duration
  put_u32(report, 16, below(random, 12));                           // depth
  put_u32(report, 20, duration + below(random, duration / 4 + 1));  // thread_duration
}

void write_sensor_info(_HubProfileReport& report, Random& random) {
  // None is empty: babeltrace2 shows an earlier text in place of an empty one.
  constexpr std::string_view kNames[] = {"accel", "gyro",        "als",          "compass",
                                         "hp",    "temperature", "pressure-raw", "hall0"};
  constexpr std::uint32_t kIntervals_us[] = {1'000, 10'000, 1'000'000};
  put_u32(report, 0, one_of(random, kIntervals_us));                  // report-interval
  put_u32(report, 4, one_of(random, kIntervals_us) * 5);              // batch-interval
  put_u32(report, 8, of_any_size(random));                            // threshold
  put_u32(report, 12, of_any_size(random));                           // time-limit
  report.payload[16] = static_cast<std::uint8_t>(below(random, 2));   // connected
  report.payload[17] = static_cast<std::uint8_t>(below(random, 65));  // decimation
  report.payload[18] = static_cast<std::uint8_t>(below(random, 4));   // gyroPowerMode
  const std::string_view name = kNames[random() % std::size(kNames)];
  std::memcpy(report.payload + 19, name.data(), name.size());
}

struct Type {
  std::uint8_t id;
  void (*write_payload)(_HubProfileReport& report, Random& random);
};

constexpr Type kTypes[] = {
    {kEventType, write_event},
    {kFunctionType, write_function},
    {kSensorInfoType, write_sensor_info},
};

void draw_ids(_HubProfileReport& report, Random& random) {
  report.category_id = static_cast<std::uint8_t>(below(random, kCategories));
  report.component_id = static_cast<std::uint8_t>(below(random, kComponents));
  report.event_id = static_cast<std::uint8_t>(below(random, kEvents));
}

bool has_shared_layout(const _HubProfileReport& report) {
  const hub::profile::Rendering rendering = hub::profile::rendering_of(report);
  return rendering.first == hub::profile::core_layout(report.type_id) && rendering.second == nullptr;
}

}  // namespace

std::vector<_HubProfileReport> three_types(std::size_t count) {
  Random random(20260304);
  std::vector<_HubProfileReport> records(count);
  std::uint64_t now_us = 5'000'000;
  for (std::size_t index = 0; index < count; ++index) {
    const Type& type = kTypes[index % std::size(kTypes)];
    _HubProfileReport& record = records[index];
    record.type_id = type.id;
    record.sequence_num = static_cast<std::uint32_t>(index + 1);
    record.timestamp = now_us += 20 + below(random, 2000);
    type.write_payload(record, random);
    do {
      draw_ids(record, random);
    } while (!has_shared_layout(record));
  }
  return records;
}

}  // namespace hub::bench
