# What `cmake --install` gives: the libraries, their headers, a CMake package, a pkg-config file and the man pages. Programs and
# the IDL are installed where they are made.
include(CMakePackageConfigHelpers)

install(TARGETS zddscore zddsc orxmonitoring2d EXPORT orxmonitoring2d
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/src/support/include/zddscore ${CMAKE_SOURCE_DIR}/middleware/include/zddsc
  ${CMAKE_SOURCE_DIR}/src/include/orxmonitoring2d
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/orxmonitoring2d)
install(EXPORT orxmonitoring2d FILE orxmonitoring2dConfig.cmake NAMESPACE orxmonitoring2d:: DESTINATION ${package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orxmonitoring2dConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orxmonitoring2dConfigVersion.cmake DESTINATION ${package})

# From where the file lies, since --prefix may put everything elsewhere.
file(RELATIVE_PATH orx_prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_SOURCE_DIR}/cmake/orxmonitoring2d.pc.in ${CMAKE_BINARY_DIR}/orxmonitoring2d.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/orxmonitoring2d.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(GLOB pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.1)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
