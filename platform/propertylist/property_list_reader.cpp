// SPDX-License-Identifier: Apache-2.0
#include "propertylist/property_list_reader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <functional>
#include <string_view>
#include <utility>

#include "propertylist/big_endian.h"
#include "propertylist/binary_format.h"
#include "propertylist/utf16.h"

namespace hub::platform {
namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t kUtf16UnitSize = 2;
constexpr std::size_t kLargestNumberSize = 8;
constexpr std::size_t kSmallestList = kBinaryHead.size() + 1 + 1 + kTrailerSize;  // one object and its offset

[[noreturn]] void refuse(std::size_t offset, const std::string& what) {
  throw PropertyListError("offset " + std::to_string(offset) + ": " + what);
}

std::string hex_text(unsigned value) {
  char digits[8];
  return "0x" + std::string(digits, std::to_chars(std::begin(digits), std::end(digits), value, 16).ptr);
}

std::string_view text_of(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

// The trailer's fields, checked against the size of the whole.
struct Trailer {
  std::size_t offset_size;
  std::size_t reference_size;
  std::uint64_t object_count;
  std::uint64_t top_object;
  std::uint64_t offset_table_start;
};

std::size_t read_size(Bytes bytes, std::size_t offset, const char* of_what) {
  const auto size = std::to_integer<std::size_t>(bytes[offset]);
  if (size < 1 || size > kLargestNumberSize) {
    refuse(offset, of_what + std::string(" of ") + std::to_string(size) + " bytes, expected 1 to 8");
  }
  return size;
}

Trailer read_trailer(Bytes bytes) {
  const std::size_t start = bytes.size() - kTrailerSize;
  const auto number_at = [&](std::size_t at) { return load_be(bytes.subspan(start + at, kLargestNumberSize)); };
  const Trailer trailer{read_size(bytes, start + kOffsetSizeAt, "offsets"),
                        read_size(bytes, start + kReferenceSizeAt, "references"), number_at(kObjectCountAt),
                        number_at(kTopObjectAt), number_at(kOffsetTableStartAt)};
  if (trailer.offset_table_start <= kBinaryHead.size() || trailer.offset_table_start > start) {
    refuse(start + kOffsetTableStartAt, "an offset table at " + std::to_string(trailer.offset_table_start) +
                                            ", expected it at " + std::to_string(kBinaryHead.size() + 1) + " to " +
                                            std::to_string(start));
  }
  const std::uint64_t table_bytes = start - trailer.offset_table_start;
  if (table_bytes % trailer.offset_size != 0 || trailer.object_count != table_bytes / trailer.offset_size) {
    refuse(start + kObjectCountAt, std::to_string(trailer.object_count) + " objects, expected as many as offsets of " +
                                       std::to_string(trailer.offset_size) + " bytes fill the " +
                                       std::to_string(table_bytes) + " of the table");
  }
  if (trailer.top_object >= trailer.object_count) {
    refuse(start + kTopObjectAt, "object " + std::to_string(trailer.top_object) + " at the top, expected one of " +
                                     std::to_string(trailer.object_count));
  }
  return trailer;
}

class Reader {
 public:
  Reader(Bytes bytes, const Trailer& trailer)
      : bytes_(bytes), trailer_(trailer), objects_(bytes.first(trailer.offset_table_start)) {}

  PropertyListValue read_top() { return read_value(trailer_.top_object); }

 private:
  // What stands behind an object's marker and length.
  struct Body {
    std::size_t offset;
    std::size_t length;  // as the object counts it
    Bytes bytes;
  };

  PropertyListValue read_value(std::size_t place) {
    const std::size_t offset = offset_of(place);
    const auto marker = std::to_integer<unsigned>(objects_[offset]);
    switch (marker & 0xF0U) {
      case 0:
        return {read_boolean(offset, marker)};
      case kIntegerMarker:
        return {read_integer(offset)};
      case kRealMarker:
        return {read_real(offset)};
      case kDataMarker:
        return {read_data(offset)};
      case kAsciiMarker:
        return {read_ascii(offset)};
      case kUtf16Marker:
        return {read_utf16_text(offset)};
      case kArrayMarker:
        return {read_array(place, offset)};
      case kDictionaryMarker:
        return {read_dictionary(place, offset)};
      default:
        refuse_marker(offset, marker);
    }
  }

  [[noreturn]] static void refuse_marker(std::size_t offset, unsigned marker) {
    refuse(offset, "an object with the marker " + hex_text(marker) +
                       ", expected a boolean, an integer, a real, data, a text, an array or a dictionary");
  }

  [[nodiscard]] std::size_t offset_of(std::size_t place) const {
    const std::size_t entry = trailer_.offset_table_start + place * trailer_.offset_size;
    const std::uint64_t offset = load_be(bytes_.subspan(entry, trailer_.offset_size));
    if (offset < kBinaryHead.size() || offset >= objects_.size()) {
      refuse(entry, "object " + std::to_string(place) + " at offset " + std::to_string(offset) + ", expected " +
                        std::to_string(kBinaryHead.size()) + " to " + std::to_string(objects_.size() - 1));
    }
    return offset;
  }

  static bool read_boolean(std::size_t offset, unsigned marker) {
    if (marker != kFalseMarker && marker != kTrueMarker) {
      refuse_marker(offset, marker);
    }
    return marker == kTrueMarker;
  }

  // The bytes of a number whose marker tells their count as a power of two.
  [[nodiscard]] Bytes number_bytes(std::size_t offset, const char* what) const {
    const auto power = std::to_integer<unsigned>(objects_[offset]) & 0x0FU;
    const std::size_t size = std::size_t{1} << power;
    if (size > kLargestNumberSize) {
      refuse(offset, what + std::string(" of ") + std::to_string(size) + " bytes, expected at most 8");
    }
    return objects_.subspan(offset + 1, expect_bytes(offset + 1, size, 1));
  }

  [[nodiscard]] std::int64_t read_integer(std::size_t offset) const {
    return static_cast<std::int64_t>(load_be(number_bytes(offset, "an integer")));
  }

  [[nodiscard]] double read_real(std::size_t offset) const {
    const Bytes bytes = number_bytes(offset, "a real");
    switch (bytes.size()) {
      case sizeof(float):
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(load_be(bytes))));
      case sizeof(double):
        return std::bit_cast<double>(load_be(bytes));
      default:
        refuse(offset, "a real of " + std::to_string(bytes.size()) + " bytes, expected 4 or 8");
    }
  }

  // The number of bytes that so many units take, which must all be there before the offset table.
  std::size_t expect_bytes(std::size_t offset, std::uint64_t units, std::size_t unit_size) const {
    const std::size_t left = objects_.size() - offset;
    if (units > left / unit_size) {
      refuse(offset, std::to_string(units) + " times " + std::to_string(unit_size) +
                         " bytes, expected no more than the " + std::to_string(left) + " before the offset table");
    }
    return units * unit_size;
  }

  [[nodiscard]] Body body_of(std::size_t offset, std::size_t unit_size) const {
    std::uint64_t length = std::to_integer<std::uint64_t>(objects_[offset]) & 0x0FU;
    ++offset;
    if (length == kLengthBehindMarker) {
      expect_bytes(offset, 1, 1);
      if (const auto marker = std::to_integer<unsigned>(objects_[offset]); (marker & 0xF0U) != kIntegerMarker) {
        refuse(offset, "marker " + hex_text(marker) + ", expected the integer that tells a length");
      }
      const Bytes bytes = number_bytes(offset, "a length");
      length = load_be(bytes);
      offset += 1 + bytes.size();
    }
    const std::size_t size = expect_bytes(offset, length, unit_size);
    return {offset, length, objects_.subspan(offset, size)};
  }

  Body content_of(std::size_t offset, std::size_t unit_size) {
    const Body body = body_of(offset, unit_size);
    if (body.bytes.size() > content_left_) {
      refuse(offset, "more than " + std::to_string(kMostPropertyListContent) + " bytes of texts and data in all");
    }
    content_left_ -= body.bytes.size();
    return body;
  }

  std::vector<std::byte> read_data(std::size_t offset) {
    const Body body = content_of(offset, 1);
    return {body.bytes.begin(), body.bytes.end()};
  }

  std::string read_ascii(std::size_t offset) {
    const Body body = content_of(offset, 1);
    const std::string_view text = text_of(body.bytes);
    const auto other = std::find_if(text.begin(), text.end(), [](char byte) { return (byte & 0x80) != 0; });
    if (other != text.end()) {
      refuse(body.offset + static_cast<std::size_t>(other - text.begin()), "a byte above 0x7f, expected ASCII");
    }
    return std::string(text);
  }

  std::string read_utf16_text(std::size_t offset) {
    const Body body = content_of(offset, kUtf16UnitSize);
    Utf16Text text = read_utf16(body.bytes);
    if (text.lone_surrogate) {
      refuse(body.offset + *text.lone_surrogate * kUtf16UnitSize, "a lone surrogate, expected a pair");
    }
    return std::move(text.utf8);
  }

  // While it lives, the collection at this place is being read.
  class Visit {
   public:
    Visit(std::vector<std::size_t>& path, std::size_t place, std::size_t offset) : path_(path) {
      if (std::find(path.begin(), path.end(), place) != path.end()) {
        refuse(offset, "object " + std::to_string(place) + " contains itself");
      }
      if (path.size() == kDeepestPropertyList) {
        refuse(offset, "more than " + std::to_string(kDeepestPropertyList) + " arrays and dictionaries in each other");
      }
      path.push_back(place);
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    ~Visit() { path_.pop_back(); }

   private:
    std::vector<std::size_t>& path_;
  };

  PropertyListArray read_array(std::size_t place, std::size_t offset) {
    const Visit visit(path_, place, offset);
    const Body body = members_of(offset, 1);
    PropertyListArray values;
    values.reserve(body.length);
    for (std::size_t index = 0; index < body.length; ++index) {
      values.push_back(read_value(reference_at(body, index)));
    }
    return values;
  }

  PropertyListDictionary read_dictionary(std::size_t place, std::size_t offset) {
    const Visit visit(path_, place, offset);
    const Body body = members_of(offset, 2);
    PropertyListDictionary pairs;
    pairs.reserve(body.length);
    for (std::size_t index = 0; index < body.length; ++index) {
      std::string key = read_key(reference_at(body, index));
      pairs.push_back({std::move(key), read_value(reference_at(body, body.length + index))});
    }
    expect_different_keys(pairs, offset);
    return pairs;
  }

  Body members_of(std::size_t offset, std::size_t references_per_member) {
    const Body body = body_of(offset, references_per_member * trailer_.reference_size);
    const std::size_t values = body.length * references_per_member;
    if (values > values_left_) {
      refuse(offset, "more than " + std::to_string(kMostPropertyListValues) + " values in all");
    }
    values_left_ -= values;
    return body;
  }

  [[nodiscard]] std::size_t reference_at(const Body& body, std::size_t index) const {
    const std::size_t at = index * trailer_.reference_size;
    const std::uint64_t place = load_be(body.bytes.subspan(at, trailer_.reference_size));
    if (place >= trailer_.object_count) {
      refuse(body.offset + at, "a reference to object " + std::to_string(place) + ", expected one of " +
                                   std::to_string(trailer_.object_count));
    }
    return place;
  }

  std::string read_key(std::size_t place) {
    const std::size_t offset = offset_of(place);
    switch (const auto marker = std::to_integer<unsigned>(objects_[offset]); marker & 0xF0U) {
      case kAsciiMarker:
        return read_ascii(offset);
      case kUtf16Marker:
        return read_utf16_text(offset);
      default:
        refuse(offset, "a key with the marker " + hex_text(marker) + ", expected a text");
    }
  }

  static void expect_different_keys(const PropertyListDictionary& pairs, std::size_t offset) {
    if (have_equal(pairs, std::hash<std::string_view>()) &&
        have_equal(pairs, [](std::string_view key) { return key; })) {
      refuse(offset, "a dictionary with a key that stands twice, expected each once");
    }
  }

  // Whether `projection` makes the same of two keys. Their hashes, which are numbers, are told apart sooner than texts.
  template <typename Projection>
  static bool have_equal(const PropertyListDictionary& pairs, const Projection& projection) {
    std::vector<decltype(projection(std::string_view()))> projected;
    projected.reserve(pairs.size());
    for (const auto& [key, value] : pairs) {
      projected.push_back(projection(key));
    }
    std::sort(projected.begin(), projected.end());
    return std::adjacent_find(projected.begin(), projected.end()) != projected.end();
  }

  Bytes bytes_;
  Trailer trailer_;
  Bytes objects_;                                          // with the head, so that offsets are those of the whole
  std::vector<std::size_t> path_;                          // the collections around the value that is being read
  std::size_t values_left_ = kMostPropertyListValues - 1;  // the top is one
  std::size_t content_left_ = kMostPropertyListContent;
};

}  // namespace

PropertyListValue read_property_list(std::span<const std::byte> bytes) {
  if (bytes.size() < kSmallestList) {
    refuse(0, "a property list of " + std::to_string(bytes.size()) + " bytes, expected at least " +
                  std::to_string(kSmallestList));
  }
  if (!text_of(bytes).starts_with(kBinaryHead)) {
    refuse(0, "another beginning, expected \"" + std::string(kBinaryHead) + "\"");
  }
  return Reader(bytes, read_trailer(bytes)).read_top();
}

}  // namespace hub::platform
