# What `cmake --install` puts where. Components: `runtime` is what a program needs to run, `development` what it needs to
# be built, `license` the text to pass on with either. No file holds an absolute path, so an installed prefix may be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(qel_libraries GLOBAL PROPERTY QEL_UNIT_LIBRARIES)
install(TARGETS ${qel_libraries} EXPORT qel_unitTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# A component of its own: the Debian packages have its text in their file `copyright`.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)

# The standard library's own parts, for those who link the static library without a C++ compiler.
set(qel_runtime_libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER qel_runtime_libraries INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|m)$")
list(REMOVE_DUPLICATES qel_runtime_libraries)

# find_package(qel_unit): the imported target qel_unit::qel_unit.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qel_unit)
configure_package_config_file(cmake/qel_unitConfig.cmake.in qel_unitConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(qel_unitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT qel_unitTargets NAMESPACE qel_unit:: DESTINATION ${package_folder} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qel_unitConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/qel_unitConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)

# pkg-config: every path starts from the place of the .pc file itself.
set(pc_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix ${pc_folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
if(BUILD_SHARED_LIBS)
  set(pc_definitions "")
  set(pc_private "")
else()
  set(pc_definitions " -DQEL_UNIT_STATIC")
  list(TRANSFORM qel_runtime_libraries PREPEND "-l" OUTPUT_VARIABLE pc_private)
  list(JOIN pc_private " " pc_private)
  set(pc_private "Libs.private: ${pc_private}\n")
endif()
configure_file(cmake/qel_unit.pc.in qel_unit.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qel_unit.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/packages.cmake)
endif()
