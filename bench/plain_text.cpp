// SPDX-License-Identifier: Apache-2.0
#include "bench/plain_text.h"

#include <cstring>
#include <iomanip>
#include <sstream>
#include <string_view>

#include "profile/NEBLogDecoder.h"

namespace hub::bench {
namespace {

std::string key(const std::string& name) { return " '" + name + "':"; }
std::string str(const std::string& value) { return "'" + value + "'"; }

std::uint32_t argument(const _HubProfileReport& record, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, record.payload + at, sizeof(value));
  return value;
}

void print_event(std::stringstream& stream, const _HubProfileReport& record) {
  for (std::size_t number = 1; number <= 6; ++number) {
    stream << " 'arg" << number << "':" << std::setw(10) << argument(record, 4 * (number - 1)) << ",";
  }
  for (std::size_t number = 1; number <= 6; ++number) {
    stream << " 'xarg" << number << "':" << std::setw(10) << "'" << std::hex << argument(record, 4 * (number - 1))
           << std::dec << "',";
  }
}

void print_function(std::stringstream& stream, const _HubProfileReport& record) {
  stream << key("function-id") << std::setw(10) << argument(record, 0) << ",";
  stream << key("extra-id") << std::setw(10) << argument(record, 4) << ",";
  stream << key("thread-id") << std::setw(10) << argument(record, 8) << ",";
  stream << key("duration") << std::setw(10) << argument(record, 12) << ",";
  stream << key("depth") << std::setw(10) << argument(record, 16) << ",";
  stream << key("thread_duration") << std::setw(10) << argument(record, 20) << ",";
}

void print_sensor_info(std::stringstream& stream, const _HubProfileReport& record) {
  const char* name = reinterpret_cast<const char*>(record.payload + 19);
  stream << key("name") << std::setw(16) << str(std::string(name, strnlen(name, 12))) << ",";
  stream << key("report-interval") << std::setw(10) << argument(record, 0) << ",";
  stream << key("batch-interval") << std::setw(10) << argument(record, 4) << ",";
  stream << key("threshold") << std::setw(10) << argument(record, 8) << ",";
  stream << key("time-limit") << std::setw(10) << argument(record, 12) << ",";
  stream << key("connected") << std::setw(10) << static_cast<unsigned>(record.payload[16]) << ",";
  stream << key("decimation") << std::setw(10) << static_cast<unsigned>(record.payload[17]) << ",";
  stream << key("gyroPowerMode") << std::setw(10) << static_cast<unsigned>(record.payload[18]) << ",";
}

void print_bytes(std::stringstream& stream, const _HubProfileReport& record) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  stream << "[";
  for (std::size_t index = 0; index < sizeof(record); ++index) {
    stream << (index == 0 ? "" : ",") << static_cast<unsigned>(bytes[index]);
  }
  stream << "]";
}

}  // namespace

std::string plain_text(const _HubProfileReport& record) {
  const std::string category = NEBLogDecoder::category_to_string(record.category_id);
  const std::string component = NEBLogDecoder::component_to_string(record.category_id, record.component_id);
  const std::string event =
      NEBLogDecoder::_decoders[record.category_id]->event_name(record.component_id, record.event_id);
  std::stringstream stream;
  stream << "{ ";
  stream << key("category") << std::setw(8) << str(category) << ",";
  stream << key("component") << std::setw(8) << str(component) << ",";
  stream << key("event") << std::setw(12) << str(event) << ",";
  stream << key("type") << std::setw(12) << str(profile_decoder::type_name(record.type_id)) << ",";
  stream << key("timestamp") << std::setw(10) << record.timestamp << ",";
  stream << key("sequence_num") << std::setw(10) << record.sequence_num << ",";
  switch (record.type_id) {
    case 3:
      print_event(stream, record);
      break;
    case 5:
      print_function(stream, record);
      break;
    default:
      print_sensor_info(stream, record);
  }
  stream << key("type-id") << static_cast<unsigned>(record.type_id) << ",";
  stream << key("category-id") << static_cast<unsigned>(record.category_id) << ",";
  stream << key("component-id") << static_cast<unsigned>(record.component_id) << ",";
  stream << key("event-id") << static_cast<unsigned>(record.event_id) << ",";
  stream << key("binary-data");
  print_bytes(stream, record);
  stream << "}";
  return stream.str();
}

}  // namespace hub::bench
