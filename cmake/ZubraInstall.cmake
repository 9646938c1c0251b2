# Installs the library, its headers and a CMake package for find_package(zubra CONFIG).
include(CMakePackageConfigHelpers)

install(TARGETS zubra
  EXPORT zubraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The command-line tool, beside the library it uses.
if(TARGET zubra_cli)
  install(TARGETS zubra_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT zubraTargets
  NAMESPACE zubra::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zubra)

set(ZUBRA_STATIC_BUILD OFF)
if(NOT BUILD_SHARED_LIBS)
  set(ZUBRA_STATIC_BUILD ON)
endif()
configure_package_config_file(cmake/zubraConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zubraConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zubra)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zubraConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zubraConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zubraConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zubra)
