# SPDX-License-Identifier: Apache-2.0
# hub_hid_statistics::plugin, the plug-in with the decoder's exports, and hub_hid_statistics::platform, which it brings.
include("${CMAKE_CURRENT_LIST_DIR}/hub_hid_statistics-targets.cmake")
