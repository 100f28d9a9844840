# What `cmake --install` puts under a prefix for hosts: the public headers, the shared library (with
# its import library on Windows), the command-line host, a CMake package giving ZUReader::zureader
# and a pkg-config file. Both package files find the prefix from where they lie, so an installed
# tree may be moved or unpacked anywhere. Test helpers, tests, benches and fuzz targets stay behind.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZU_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZUReader)
set(ZU_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zureader EXPORT ZUReaderTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zureader_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The whole folder, so that a header added later ships without a change here.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/zureader DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT ZUReaderTargets NAMESPACE ZUReader:: DESTINATION ${ZU_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ZUReaderConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_SOURCE_DIR}/cmake/ZUReaderConfig.cmake ${CMAKE_BINARY_DIR}/ZUReaderConfigVersion.cmake
  DESTINATION ${ZU_PACKAGE_DIR})

# pkg-config reaches the prefix through the .pc file's own folder (${pcfiledir}).
file(RELATIVE_PATH ZU_PC_TO_PREFIX /prefix/${ZU_PKGCONFIG_DIR} /prefix)
string(REGEX REPLACE "/$" "" ZU_PC_TO_PREFIX ${ZU_PC_TO_PREFIX})
get_target_property(ZU_PC_LIBRARY zureader OUTPUT_NAME)
if(NOT ZU_PC_LIBRARY)
  set(ZU_PC_LIBRARY zureader)
endif()
configure_file(${CMAKE_SOURCE_DIR}/cmake/zureader.pc.in ${CMAKE_BINARY_DIR}/zureader.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zureader.pc DESTINATION ${ZU_PKGCONFIG_DIR})
