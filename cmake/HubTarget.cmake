# SPDX-License-Identifier: Apache-2.0

include(CheckPIESupported)
check_pie_supported()

# Against mistakes in memory that somebody could make use of. script/check-binary holds the libraries and commands to it.
set(HUB_HARDENING -fstack-protector-strong)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  list(APPEND HUB_HARDENING -fstack-clash-protection -fcf-protection)
endif()
set(HUB_HARDENED_LINKING LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text)

# What is built tells the same place, wherever it is built: two builds of the same sources are the same bytes.
set(HUB_SAME_PLACE "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>")

# What a target's code has run is counted, by as many threads as there are, and written when the process ends: also when it
# ends in an abort, as a misuse of the platform does.
function(hub_count_coverage target)
  set(counting -fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%2m.profraw)
  target_compile_options(${target} PRIVATE ${counting} -fprofile-update=atomic -fcoverage-mapping -fcoverage-mcdc
    # The standard library's own stable_sort uses what it tells others not to use.
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-deprecated-declarations>)
  target_link_options(${target} PRIVATE ${counting})
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "STATIC_LIBRARY")
    target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/coverage_counts.c")
  endif()
endfunction()

# Gives a target the project's language level, warnings, hardening and sanitizers. Every target of ours calls it once.
# FORTIFY: how far calls of the C library are checked when the compiler optimises; 3 if not said.
function(hub_target target)
  cmake_parse_arguments(ARG "" "FORTIFY" "" ${ARGN})
  if(NOT ARG_FORTIFY)
    set(ARG_FORTIFY 3)
  endif()
  set(checked_calls "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${ARG_FORTIFY}>")
  if(HUB_SANITIZE)  # sanitizers look at the calls themselves
    set(checked_calls "")
  endif()
  target_compile_features(${target} PRIVATE c_std_11 cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${HUB_WARNINGS_AS_ERRORS}>:-Werror> ${HUB_HARDENING} ${checked_calls} ${HUB_SAME_PLACE})
  target_link_options(${target} PRIVATE ${HUB_HARDENED_LINKING})
  # Where mistakes are looked for, the standard library checks indexes, empty optionals and iterators.
  if(HUB_SANITIZE)
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  else()
    target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  endif()
  if(HUB_COVERAGE)
    hub_count_coverage(${target})
  endif()
  # Edges alone, not comparisons as well: tracing those takes longer than what the targets do. What can be compared with
  # stands in their corpora.
  if(HUB_FUZZERS)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp)
  endif()
  if(HUB_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${HUB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${HUB_SANITIZE})
  endif()
endfunction()

# A program of the project's own, for measuring or trying it: from its sources and the libraries that it uses. Sanitizers
# look at it as it stands: to optimise what they have added takes the compiler longer than the program then saves.
function(hub_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  hub_target(${name})
  if(HUB_SANITIZE)
    target_compile_options(${name} PRIVATE -O0)
  endif()
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
endfunction()

# A program with an operator new of its own. Clang's thread sanitizer would put another one beside it, but for programs in C.
function(hub_own_new name)
  if(HUB_SANITIZE STREQUAL thread AND CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C)
    target_link_libraries(${name} PRIVATE stdc++ m)
  endif()
endfunction()
