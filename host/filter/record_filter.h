// SPDX-License-Identifier: Apache-2.0
// Which records are wanted: an expression over the items of their lines.
//
//   category == sshb && event in (status-event, 5)
//   duration > 1000 || !(name =~ "^acc" && report-interval <= 0x2710)
//
// Precedence is that of C: `!` before `&&` before `||`; parentheses. A comparison is FIELD OPERATOR VALUE, the operator
// one of == != < <= > >= =~, or FIELD in (VALUE, VALUE, ...). The fields are those of RecordField.
//
// A value is a number (decimal, or hexadecimal behind 0x, of at most 64 bits; also negative, also with digits behind a
// point), a text in double or single quotes (with \" \' \\ \n \t \xNN), or a word (a letter or _, then letters,
// digits, _ - and .), which is a text.
//
//   type of the field  == != in          < <= > >=   =~
//   kNumber, kReal     number            number      -
//   kName              name or number    number      name; the decimal number where an id has none
//   kText              text              text        text
//   kBytes             hexadecimal text  -           hexadecimal text
//
// Numbers are compared exactly, whatever the field: 2 < 2.5, no unsigned number is -1. A name is one that some category
// has for such an id; one that none has is an error, one of digits alone is the number. Texts are compared byte by
// byte. Hexadecimal texts are pairs of lower-case digits without anything between them.
//
// =~ is a regular expression (RE2's) that may be found anywhere in the text; what FilterPattern says of texts that are
// no UTF-8 holds.
//
// A record without the field: the comparison is false, != as well; `!` of it is true. A field that a record has in both
// of its layouts: != holds when no value is equal, any other comparison when it holds for one of the values.
#pragma once

#include <memory>
#include <string_view>

#include "host/filter/filter_error.h"
#include "profile/profile_report.h"

namespace hub::host {

// Copies share what they consist of.
class RecordFilter {
 public:
  // The expression has at most 64 KiB, 200 parentheses in each other and 100 times =~. Throws FilterError, and
  // std::bad_alloc. [any thread]
  static RecordFilter parse(std::string_view expression);

  // Makes no memory but what a regular expression needs to go on quickly, which is bounded. [any thread]
  [[nodiscard]] bool matches(const _HubProfileReport& report) const;

 private:
  class Program;
  explicit RecordFilter(std::shared_ptr<const Program> program);

  std::shared_ptr<const Program> program_;
};

}  // namespace hub::host
