# SPDX-License-Identifier: Apache-2.0
# Packs again what CPack made. The same files give the same bytes, whenever and by whom they are packed: everything is
# dated with the release, readable by everybody, and checksums stand in the order of the names. And CPack has packages with libraries call
# ldconfig in scripts of theirs; Debian wants them to activate its trigger instead, once for all packages of an
# installation.
set(ENV{SOURCE_DATE_EPOCH} "${CPACK_HUB_RELEASE_TIME}")
set(ENV{LC_ALL} C)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked "${package}.unpacked")
  execute_process(COMMAND dpkg-deb --raw-extract "${package}" "${unpacked}" COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS "${unpacked}/DEBIAN/postinst")
    file(REMOVE "${unpacked}/DEBIAN/postinst" "${unpacked}/DEBIAN/postrm")
    file(WRITE "${unpacked}/DEBIAN/triggers" "activate-noawait ldconfig\n")
  endif()
  execute_process(COMMAND sort -k 2 -o "${unpacked}/DEBIAN/md5sums" "${unpacked}/DEBIAN/md5sums"
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND chmod -R u=rwX,go=rX "${unpacked}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find "${unpacked}" -exec touch -h -d "@${CPACK_HUB_RELEASE_TIME}" {} +
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND dpkg-deb --root-owner-group --build "${unpacked}" "${package}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${unpacked}")
endforeach()
