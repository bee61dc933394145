# SPDX-License-Identifier: Apache-2.0

# Gives a target the project's language level, warnings and sanitizers. Every target of ours calls it once.
function(hub_target target)
  target_compile_features(${target} PRIVATE c_std_11 cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${HUB_WARNINGS_AS_ERRORS}>:-Werror>)
  if(HUB_FUZZERS)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(HUB_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${HUB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${HUB_SANITIZE})
  endif()
endfunction()
