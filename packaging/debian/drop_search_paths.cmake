# SPDX-License-Identifier: Apache-2.0
# Below /usr the loader finds libraries by itself: packaged programs and libraries need no search path of their own, which
# elsewhere lets a prefix be moved.
file(GLOB_RECURSE candidates "${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*" "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so.*")
foreach(file IN LISTS candidates)
  if(NOT IS_SYMLINK "${file}")
    file(RPATH_REMOVE FILE "${file}")
  endif()
endforeach()
