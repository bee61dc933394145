// SPDX-License-Identifier: Apache-2.0
#include "ledger/unfinished_change.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>
#include <string_view>
#include <system_error>

#include "propertylist/big_endian.h"

namespace hub::platform {
namespace {

// The journal begins with a header, alone in its sector; records follow: a page's number, the page, and a checksum. All
// numbers are big-endian.
constexpr std::string_view kMagic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
constexpr std::size_t kNumberBytes = 4;
constexpr std::size_t kRecordsAt = 8;
constexpr std::size_t kPagesBeforeAt = 16;
constexpr std::size_t kSectorBytesAt = 20;
constexpr std::size_t kPageBytesAt = 24;
constexpr std::size_t kHeaderBytes = 28;
constexpr std::size_t kIdentityAt = 68;  // in the first page

std::string journal_of(const std::string& location) { return location + "-journal"; }

class Journal {
 public:
  explicit Journal(const std::string& location) : stream_(journal_of(location), std::ios::binary) {}

  // False when so many bytes are not there.
  bool read(std::uint64_t offset, char* bytes, std::size_t count) {
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(stream_.read(bytes, static_cast<std::streamsize>(count)));
  }

  std::optional<std::uint32_t> number(std::uint64_t offset) {
    std::array<char, kNumberBytes> bytes{};
    if (!read(offset, bytes.data(), bytes.size())) {
      return std::nullopt;
    }
    return static_cast<std::uint32_t>(load_be(std::as_bytes(std::span(bytes))));
  }

 private:
  std::ifstream stream_;
};

// Records behind the first header; there are more headers only in a change of many pages, whose first is the first
// page.
std::optional<std::int64_t> identity_in_records(Journal& journal, std::uint32_t records, std::uint64_t sector_bytes,
                                                std::uint64_t page_bytes) {
  constexpr std::uint32_t kFirstPage = 1;
  for (std::uint64_t record = 0; record < records; ++record) {
    const std::uint64_t at = sector_bytes + record * (kNumberBytes + page_bytes + kNumberBytes);
    const std::optional<std::uint32_t> page = journal.number(at);
    if (!page) {
      return std::nullopt;
    }
    if (*page == kFirstPage) {
      return journal.number(at + kNumberBytes + kIdentityAt);
    }
  }
  return std::nullopt;
}

}  // namespace

bool has_unfinished_change(const std::string& location) {
  std::error_code error;
  const std::uintmax_t size_bytes = std::filesystem::file_size(journal_of(location), error);
  return !error && size_bytes > 0;
}

std::optional<std::int64_t> identity_before_change(const std::string& location) {
  Journal journal(location);
  std::array<char, kHeaderBytes> header{};
  if (!journal.read(0, header.data(), header.size()) || std::string_view(header.data(), kMagic.size()) != kMagic) {
    return std::nullopt;
  }
  if (journal.number(kPagesBeforeAt) == 0U) {
    return 0;
  }
  return identity_in_records(journal, *journal.number(kRecordsAt), *journal.number(kSectorBytesAt),
                             *journal.number(kPageBytesAt));
}

}  // namespace hub::platform
