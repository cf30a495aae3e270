# What `cmake --install` puts where. Components: `runtime` and `archive_runtime` are what a program needs to run, one for
# each library, `development` what it needs to be built, `license` the text to pass on with any of them. No file holds an
# absolute path, so an installed prefix may be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Both linkages may be installed in one prefix: the files for consumers of one do not replace the other's.
set(linkage static)
if(BUILD_SHARED_LIBS)
  set(linkage shared)
endif()
get_property(qel_libraries GLOBAL PROPERTY QEL_UNIT_LIBRARIES)
set(qel_unit_component runtime)
set(qel_archive_component archive_runtime)
foreach(library IN LISTS qel_libraries)
  set_target_properties(${library} PROPERTIES EXPORT_NAME ${library}_${linkage})
  install(TARGETS ${library} EXPORT qel_unitTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${${library}_component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${${library}_component} NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endforeach()

# A component of its own: the Debian packages have its text in their file `copyright`.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)

# The standard library's own parts, for those who link the static library without a C++ compiler.
set(qel_runtime_libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER qel_runtime_libraries INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|m)$")
list(REMOVE_DUPLICATES qel_runtime_libraries)

# find_package(qel_unit): an imported target for each library.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qel_unit)
configure_package_config_file(cmake/qel_unitConfig.cmake.in qel_unitConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(qel_unitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT qel_unitTargets NAMESPACE qel_unit:: FILE qel_unit_${linkage}Targets.cmake
  DESTINATION ${package_folder} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qel_unitConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/qel_unitConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)

# pkg-config: every path starts from the place of the .pc file itself. A library's own name is the linkage that was
# installed last; followed by -shared or -static, it is that one. --static only adds to what is linked without it, so
# that it cannot choose between the two: the static file names the archive, and all that the archive needs.
set(pc_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix ${pc_folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
foreach(library IN LISTS qel_libraries)
  get_target_property(pc_description ${library} QEL_UNIT_DESCRIPTION)
  set(pc_definitions "")
  set(pc_link -l${library})
  if(NOT BUILD_SHARED_LIBS)
    set(pc_definitions " -DQEL_UNIT_STATIC")
    if(NOT APPLE AND NOT MSVC) # whose linkers do not take a file's name
      set(pc_link -l:${CMAKE_STATIC_LIBRARY_PREFIX}${library}${CMAKE_STATIC_LIBRARY_SUFFIX})
    endif()
    foreach(runtime IN LISTS qel_runtime_libraries)
      string(APPEND pc_link " -l${runtime}")
    endforeach()
  endif()
  if(QEL_UNIT_SANITIZE)
    string(APPEND pc_link " -fsanitize=${QEL_UNIT_SANITIZE}")
  endif()
  foreach(name IN ITEMS ${library} ${library}-${linkage})
    configure_file(cmake/library.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  endforeach()
endforeach()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DBUILD=${CMAKE_BINARY_DIR} -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/uninstall.cmake VERBATIM)
endif()
