// SPDX-License-Identifier: Apache-2.0
#include "host/device/batch_reader.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "host/device/neighbour_file.h"
#include "host/device/reply_bytes.h"

namespace hub::host {
namespace {

// A record: the version, the operation, the key, one byte each, and a value of 32 bits, little-endian.
constexpr std::size_t kRecordBytes = 7;
constexpr std::uint8_t kUsualVersion = 67;

struct Record {
  std::uint8_t version = kUsualVersion;
  std::uint8_t operation = 0;
  std::uint8_t key = 0;
  std::int32_t value = 0;
};

std::int32_t read_value(const JsonPlace& at) { return read_32_bits(at); }

void append_record(const JsonPlace& at, Bytes& bytes) {
  Record record;
  read_fields(at, {{"op", into(record.operation, read_integer<std::uint8_t>), Need::kRequired},
                   {"key", into(record.key, read_integer<std::uint8_t>), Need::kRequired},
                   {"value", into(record.value, read_value)},
                   {"version", into(record.version, read_integer<std::uint8_t>)}});
  append_little_endian(record.version, sizeof record.version, bytes);
  append_little_endian(record.operation, sizeof record.operation, bytes);
  append_little_endian(record.key, sizeof record.key, bytes);
  append_little_endian(static_cast<std::uint32_t>(record.value), sizeof record.value, bytes);
}

JsonField service_of(Batch& batch) { return {"service", into(batch.service, read_name), Need::kRequired}; }

// { "service": "button", "records": [ { "op": 3, "key": 0, "value": 1 }, ... ] }
void read_records(const JsonPlace& object, Batch& batch) {
  const auto append = [&batch](const JsonPlace& record) { append_record(record, batch.records); };
  read_fields(object,
              {service_of(batch), {"records", [&append](const JsonPlace& list) { for_each_element(list, append); }}});
}

// { "service": "button", "hex": "43 03 00 01 00 00 00" }
void read_hex(const JsonPlace& object, Batch& batch) {
  read_fields(object, {service_of(batch),
                       {"hex", [&batch](const JsonPlace& text) { append_hex_digits(text, batch.records); }}});
}

// { "service": "button", "file": "clicks.bin", "offset": 0, "length": 14 }
void read_file(const JsonPlace& object, Batch& batch) {
  FilePart part;
  read_fields(object, {service_of(batch),
                       {"file", into(part.file, itself)},
                       {"offset", into(part.offset, itself)},
                       {"length", into(part.length, itself)}});
  append_file_part(part, batch.records);
}

// The ways to state the records, told by one of the keys.
struct BatchForm {
  std::string_view key;
  void (*read)(const JsonPlace& object, Batch& batch);
};

constexpr BatchForm kForms[] = {
    {"records", read_records},
    {"hex", read_hex},
    {"file", read_file},
};

// The first of the object's keys that is a form's decides; what else there is, is for that form to take or refuse.
void read_form(const JsonPlace& object, Batch& batch) {
  for (const JsonMember& member : object.get<JsonObject>("an object")) {
    for (const BatchForm& form : kForms) {
      if (form.key == member.key) {
        return form.read(object, batch);
      }
    }
  }
  object.refuse("one of the keys " + enumeration({kForms[0].key, kForms[1].key, kForms[2].key}), "none");
}

}  // namespace

Batch read_batch(const JsonPlace& at) {
  Batch batch;
  read_form(at, batch);
  if (batch.records.size() % kRecordBytes != 0) {
    at.refuse("a whole number of records of " + in_bytes(kRecordBytes), in_bytes(batch.records.size()));
  }
  return batch;
}

}  // namespace hub::host
