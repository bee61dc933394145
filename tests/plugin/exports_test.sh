#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# exports_test.sh LIBRARY LIST [COPIES]: compares the library's defined dynamic symbols, with their kinds, to the list's
# lines. COPIES: weak names and classes' tables that match this expression may leave it besides; which do, and how, is the
# compiler's choice.
set -eu
found=$(nm -D --defined-only "$1" |
  awk -v copies="${3:-^$}" '!(($2 ~ /[VWu]/ || $3 ~ /^_ZT[ISV]/) && $3 ~ copies) { print $2, $3 }' | LC_ALL=C sort -k 2)
expected=$(LC_ALL=C sort -k 2 "$2")
[ "$found" = "$expected" ] && exit 0
printf 'expected:\n%s\nfound:\n%s\n' "$expected" "$found" >&2
exit 1
