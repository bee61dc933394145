// SPDX-License-Identifier: Apache-2.0
#include "bench/sensor_snapshot.h"

#include <plist/plist.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "propertylist/property_list_reader.h"
#include "state/state_host.h"
#include "state_frame.h"

namespace hub::bench {
namespace {

struct FreePlist {
  void operator()(void* plist) const { plist_free(plist); }
};

// An entry's value by each library.
struct AddToDictionary {
  CFMutableDictionaryRef dictionary;
  const char* key;
  void operator()(std::int64_t number) const { addNumber32(dictionary, key, static_cast<std::int32_t>(number)); }
  void operator()(const std::string& text) const { addString(dictionary, key, text.c_str()); }
};

struct LibplistValue {
  plist_t operator()(std::int64_t number) const { return plist_new_uint(static_cast<std::uint64_t>(number)); }
  plist_t operator()(const std::string& text) const { return plist_new_string(text.c_str()); }
};

template <typename Byte>
std::size_t stored(const Byte* data, std::size_t length, Bytes* bytes) {
  if (bytes != nullptr) {
    bytes->clear();
    std::transform(data, data + length, std::back_inserter(*bytes),
                   [](Byte byte) { return static_cast<std::byte>(byte); });
  }
  return length;
}

}  // namespace

std::vector<SnapshotEntry> entries_of(const Bytes& property_list) {
  std::vector<SnapshotEntry> entries;
  const platform::PropertyListValue snapshot = platform::read_property_list(property_list);
  for (const auto& [key, value] : std::get<platform::PropertyListDictionary>(snapshot.value)) {
    if (const auto* text = std::get_if<std::string>(&value.value)) {
      entries.push_back({key, *text});
    } else if (const auto* number = std::get_if<std::int64_t>(&value.value)) {
      entries.push_back({key, *number});
    } else {
      throw std::runtime_error("the snapshot's \"" + key + "\" is neither number nor text");
    }
  }
  return entries;
}

std::size_t make_snapshot(const std::vector<SnapshotEntry>& entries, Bytes* bytes) {
  const auto dictionary = createStateDictionary(32);  // as the sensor's handler does
  for (const SnapshotEntry& entry : entries) {
    std::visit(AddToDictionary{dictionary.get(), entry.key.c_str()}, entry.value);
  }
  const platform::OwnedStateData record(copyStateData(dictionary.get(), "SensorInfo"));
  return stored(record->data, record->data_size_bytes, bytes);
}

std::size_t make_snapshot_by_libplist(const std::vector<SnapshotEntry>& entries, Bytes* bytes) {
  const std::unique_ptr<void, FreePlist> dictionary(plist_new_dict());
  for (const SnapshotEntry& entry : entries) {
    plist_dict_set_item(dictionary.get(), entry.key.c_str(), std::visit(LibplistValue(), entry.value));
  }
  char* written = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(dictionary.get(), &written, &length);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owned(written, plist_to_bin_free);
  return stored(written, length, bytes);
}

}  // namespace hub::bench
