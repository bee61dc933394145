#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# make_page.sh SCDOC SOURCE PAGE: makes the page, which is roff, from its source. Readers of roff warn of paragraph macros
# without a paragraph, which scdoc leaves: one at the end of an indented block goes behind it, one before such a block
# becomes the blank line that is meant, others are dropped.
set -eu
page=$("$1" <"$2")
printf '%s\n' "$page" | awk '
  { lines[NR] = $0 }
  END {
    for (i = 1; i < NR; i++) {
      if (lines[i] == ".P" && lines[i + 1] == ".RE") { lines[i] = ".RE"; lines[i + 1] = ".P" }
    }
    for (i = 1; i <= NR; i++) {
      next_line = lines[i + 1]
      if (lines[i] != ".P") {
        print last = lines[i]
      } else if (next_line ~ /^\.RS/) {
        print last = ".sp"
      } else if (i < NR && last !~ /^\.(SH|SS|TH) / && next_line !~ /^\.(P|SH|SS|RE|TS)/) {
        print last = ".P"
      }
    }
  }' >"$3"
