#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# uncalled_functions_test.sh FAILING_CALLS LIBRARY: the functions that FAILING_CALLS says the plug-in does not call are
# none that the library refers to, while those that it does call are.
set -eu
wanted=$(nm -D --undefined-only "$2" | sed 's/.* U //; s/@.*//')
echo "$wanted" | grep -qx CFNumberCreate || { echo "$2 does not refer to CFNumberCreate" >&2; exit 1; }
status=0
for name in $("$1" --uncalled | sed 's/ .*//'); do
  if echo "$wanted" | grep -qx "$name"; then
    echo "$2 refers to $name" >&2
    status=1
  fi
done
exit "$status"
