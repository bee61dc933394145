// SPDX-License-Identifier: Apache-2.0
// Name tables as the rooms write them, constant arrays of {id, text}, and how a name is found in them at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "profile/profile_decoder.h"

namespace hub::profile {

// A name with its length, in an object of one size: it is copied whole, whatever its length.
class Name {
 public:
  static constexpr std::size_t kRoom = 32;

  constexpr Name() = default;
  constexpr explicit Name(std::string_view text) : length_(static_cast<std::uint8_t>(text.size())) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      text_.at(at) = text[at];
    }
  }

  [[nodiscard]] constexpr std::string_view view() const { return {text_.data(), length_}; }

  // Stores kRoom bytes and returns where the name ends.
  char* put(char* out) const {
    std::memcpy(out, this, kRoom);
    return out + length_;
  }

 private:
  std::array<char, kRoom - 1> text_{};
  std::uint8_t length_ = 0;
};
static_assert(sizeof(Name) == Name::kRoom);

// Rows, and beside each its name once more. Made by name_table.
class NameTable {
 public:
  using entry = profile_decoder::entry;

  constexpr NameTable() = default;
  constexpr NameTable(std::span<const entry> rows, const Name* names) : rows_(rows), names_(names) {
    while (rows_in_place_ < rows.size() && rows[rows_in_place_].id == rows_in_place_) {
      ++rows_in_place_;
    }
  }

  [[nodiscard]] constexpr std::span<const entry> rows() const { return rows_; }

  // The name in the first row with this id, or null.
  [[nodiscard]] const Name* find(unsigned int id) const {
    if (id < rows_in_place_) {
      return &names_[id];
    }
    for (std::size_t row = rows_in_place_; row < rows_.size(); ++row) {
      if (rows_[row].id == id) {
        return &names_[row];
      }
    }
    return nullptr;
  }

 private:
  std::span<const entry> rows_;
  const Name* names_ = nullptr;
  std::size_t rows_in_place_ = 0;  // so many of the first rows have their own number for an id
};

template <std::size_t kCount>
consteval std::array<Name, kCount> names_of(const profile_decoder::entry (&rows)[kCount]) {
  std::array<Name, kCount> names;
  for (std::size_t row = 0; row < kCount; ++row) {
    names[row] = Name(rows[row].name);
  }
  return names;
}

template <const auto& kRows>
inline constexpr auto kNamesOf = names_of(kRows);

// The table of these rows.
template <const auto& kRows>
inline constexpr NameTable name_table{kRows, kNamesOf<kRows>.data()};

// The name of an id, or the id in decimal.
inline std::string name_in(const NameTable& table, unsigned int id) {
  const Name* name = table.find(id);
  return name != nullptr ? std::string(name->view()) : std::to_string(id);
}

}  // namespace hub::profile
