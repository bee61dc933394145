#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# check_capture.sh MAKE_CAPTURE NAME: fails when NAME.bin is not what MAKE_CAPTURE makes of NAME.listing.
set -eu
made=$(mktemp)
trap 'rm -f "$made"' EXIT
"$1" <"$2.listing" >"$made"
cmp "$made" "$2.bin"
