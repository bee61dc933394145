# SPDX-License-Identifier: Apache-2.0
# Where `cmake --install` puts things, below its prefix. The folders are cache variables, for whoever packages.

# Debian's folder for libraries under every prefix, and not under /usr alone: a program knows its plug-in's place relative
# to itself, whatever prefix it is installed to in the end.
if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_INSTALL_LIBDIR AND CMAKE_LIBRARY_ARCHITECTURE
    AND EXISTS "/etc/debian_version")
  set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}" CACHE PATH "Libraries (lib)")
endif()
include(GNUInstallDirs)

set(HUB_DOCUMENTS_DIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/hub-hid-statistics" CACHE PATH "Licence, changelog and documents")
set(HUB_EXAMPLES_DIR "${CMAKE_INSTALL_DATADIR}/hub-hid-statistics/examples" CACHE PATH "Example devices and captures")
set(HUB_PLATFORM_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/hubplatform" CACHE PATH "The platform's public headers")
set(HUB_PLUGIN_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/hub-hid-statistics" CACHE PATH "The plug-in's exported headers")
set(HUB_WIRESHARK_PLUGIN_DIR "${CMAKE_INSTALL_LIBDIR}/wireshark/plugins" CACHE PATH "Wireshark's plug-ins")
set(HUB_BASH_COMPLETIONS_DIR "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" CACHE PATH "Completions for bash")
set(HUB_ZSH_COMPLETIONS_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE PATH "Completions for zsh")
set(HUB_FISH_COMPLETIONS_DIR "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" CACHE PATH "Completions for fish")

# The folder of the libraries, seen from that of the programs.
file(RELATIVE_PATH HUB_LIBRARIES_FROM_PROGRAMS "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")

# When this version was finished, in seconds since the epoch: documents are dated with it, and building them again gives the
# same bytes.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(HUB_RELEASE_TIME "$ENV{SOURCE_DATE_EPOCH}")
else()
  set(HUB_RELEASE_TIME 1795219200)
endif()
