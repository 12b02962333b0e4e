# SPDX-License-Identifier: Apache-2.0
# What is installed: the host with its man page and the completion of its command line, the plugin and the platform
# library, the interface headers with a pkg-config file, the documents.
include(GNUInstallDirs)

# Everything finds the rest by relative paths: an installation can be staged with DESTDIR, or moved.
file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
target_compile_definitions(host_replay PRIVATE IOSCHED_BIN_TO_LIB="${bin_to_lib}")
set_target_properties(iosched-host PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
set_target_properties(io_sched_plugin PROPERTIES INSTALL_RPATH "$ORIGIN")
file(RELATIVE_PATH IOSCHED_PKGCONFIG_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH IOSCHED_PREFIX_TO_LIB ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH IOSCHED_PREFIX_TO_INCLUDE ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" IOSCHED_PKGCONFIG_TO_PREFIX ${IOSCHED_PKGCONFIG_TO_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/io_sched_plugin.pc.in ${PROJECT_BINARY_DIR}/io_sched_plugin.pc @ONLY)

install(TARGETS iosched-host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS io_sched_plugin iosched_platform LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/platform
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/iosched
  FILES_MATCHING
  PATTERN *.h)
install(FILES ${PROJECT_BINARY_DIR}/io_sched_plugin.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES ${PROJECT_BINARY_DIR}/docs/iosched-host.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(
  FILES ${PROJECT_BINARY_DIR}/docs/iosched-host.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME iosched-host)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
