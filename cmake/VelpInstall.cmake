# What is installed: libraries, headers, the CMake package and the pkg-config files. Nothing of it
# holds an absolute path, so that the prefix can be moved.

include(CMakePackageConfigHelpers)

set(VELP_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velpmsg)

install(TARGETS velpframework velpmsg EXPORT velpmsg
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY include/velpmsg framework/include/velp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
install(FILES packaging/tmpfiles.d/velp.conf
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT runtime)

install(EXPORT velpmsg NAMESPACE velp:: FILE velpmsgTargets.cmake
  DESTINATION ${VELP_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/velpmsgConfig.cmake.in ${PROJECT_BINARY_DIR}/velpmsgConfig.cmake
  INSTALL_DESTINATION ${VELP_PACKAGE_DIR}
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velpmsgConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velpmsgConfig.cmake
  ${PROJECT_BINARY_DIR}/velpmsgConfigVersion.cmake
  DESTINATION ${VELP_PACKAGE_DIR} COMPONENT development)

# The way from the folder of the .pc files back to the prefix, wherever the prefix may be by then.
file(RELATIVE_PATH VELP_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(library velpframework velpmsg)
  configure_file(cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
