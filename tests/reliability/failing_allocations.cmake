# SPDX-License-Identifier: Apache-2.0

add_executable(failing_allocations
  failing_allocations.cpp
  failing_allocations_host.cpp
  failing_allocations_platform.cpp
  failing_allocations_plugin.cpp
  failing_allocations_run.cpp)
hub_target(failing_allocations)
target_include_directories(failing_allocations PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(failing_allocations PRIVATE hub_host)
target_compile_definitions(failing_allocations PRIVATE
  HUB_PLUGIN="$<TARGET_FILE:hub_plugin>"
  HUB_SMALL_CAPTURE="${PROJECT_SOURCE_DIR}/examples/reports/boot_to_press.bin"
  HUB_SMALL_DEVICE="${CMAKE_CURRENT_SOURCE_DIR}/device.json"
  HUB_SMALL_SNAPSHOT="${PROJECT_SOURCE_DIR}/fuzz/corpus/snapshot_file/reports")
add_dependencies(failing_allocations hub_plugin)

# Few runs of each scenario; script/fail-allocations makes them all.
foreach(room platform plugin)
  add_test(NAME failing_allocations.${room}_keeps_its_promises COMMAND failing_allocations --most 60 ${room})
  set_tests_properties(failing_allocations.${room}_keeps_its_promises PROPERTIES TIMEOUT 120)
endforeach()
