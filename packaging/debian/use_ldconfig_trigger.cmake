# SPDX-License-Identifier: Apache-2.0
# CPack has packages with libraries call ldconfig in scripts of theirs; Debian wants them to activate its trigger instead,
# once for all packages of an installation.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked "${package}.unpacked")
  execute_process(COMMAND dpkg-deb --raw-extract "${package}" "${unpacked}" COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS "${unpacked}/DEBIAN/postinst")
    file(REMOVE "${unpacked}/DEBIAN/postinst" "${unpacked}/DEBIAN/postrm")
    file(WRITE "${unpacked}/DEBIAN/triggers" "activate-noawait ldconfig\n")
    execute_process(COMMAND dpkg-deb --root-owner-group --build "${unpacked}" "${package}"
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE "${unpacked}")
endforeach()
