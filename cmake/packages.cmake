# The Debian packages: `cpack -G DEB` in a build folder, or scripts/package.sh. Each library's package is named after its
# SONAME, so that two major versions can stand side by side; one package holds what both need for development, and one the
# tool, where it is built.
set(deb_runtime libqel-unit${PROJECT_VERSION_MAJOR})
set(deb_archive_runtime libqel-archive${PROJECT_VERSION_MAJOR})
set(deb_development libqel-unit-dev)
set(deb_tools qel)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qel-unit)
set(CPACK_PACKAGE_VENDOR "The qel_unit authors")
set(CPACK_PACKAGE_CONTACT "The qel_unit authors <maintainers@qel-unit.invalid>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Debian wants two files in a folder named after each package, which no other installation has a use for.
find_program(QEL_UNIT_GZIP gzip)
mark_as_advanced(QEL_UNIT_GZIP)
if(QEL_UNIT_GZIP)
  string(TIMESTAMP deb_date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH, where it is set
  configure_file(packaging/changelog.in changelog @ONLY)
  execute_process(COMMAND ${QEL_UNIT_GZIP} -9nf ${CMAKE_CURRENT_BINARY_DIR}/changelog COMMAND_ERROR_IS_FATAL ANY)
  foreach(part runtime archive_runtime development tools)
    install(FILES packaging/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${deb_${part}} COMPONENT debian_${part} EXCLUDE_FROM_ALL)
  endforeach()
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL runtime debian_runtime archive_runtime debian_archive_runtime development debian_development)
if(QEL_UNIT_TOOL)
  list(APPEND CPACK_COMPONENTS_ALL tools debian_tools)
  list(APPEND CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/compress_manual.cmake)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${deb_runtime})
set(CPACK_DEBIAN_ARCHIVE_PACKAGE_NAME ${deb_archive_runtime})
foreach(group LIBRARY ARCHIVE)
  set(CPACK_DEBIAN_${group}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${group}_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_${group}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/triggers)
endforeach()
set(CPACK_DEBIAN_HEADERS_PACKAGE_NAME ${deb_development})
set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_HEADERS_PACKAGE_DEPENDS
  "${deb_runtime} (= ${PROJECT_VERSION}), ${deb_archive_runtime} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${deb_tools})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON) # of the libraries that are no part of this project
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
  "${deb_runtime} (= ${PROJECT_VERSION}), ${deb_archive_runtime} (= ${PROJECT_VERSION})")

set(deb_text "qel_unit reads the polygon mesh out of an Alembic archive, maps its vertices
onto a 48-cube lattice as 25-byte tokens, stores and searches them, and keeps
render-ready mesh caches and a directory of agents. It has a C interface, and
no dependency but the standard library.")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own, as the first line of its description
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "Alembic geometry as meshes, tokens and mapped caches
${deb_text}")
set(CPACK_DEBIAN_ARCHIVE_DESCRIPTION "Alembic archives read by what they say
qel_archive follows what an Alembic archive in the Ogawa container says of
itself: its objects, properties, samples and times, its meshes with normals and
UVs, its transforms. It has a C interface, and no dependency but the standard
library.")
set(CPACK_DEBIAN_HEADERS_DESCRIPTION "Alembic geometry as meshes and tokens (development files)
${deb_text}

This package holds the headers of qel_unit and of its second library,
qel_archive, and what CMake and pkg-config read.")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "look into Alembic archives, tokens and mesh caches
qel says what is in an Alembic archive, makes every visible mesh of it into
tokens, a scene over time and mesh caches, finds the tokens nearest to a place,
writes everything in a file as text, and writes a page that shows the scene.")
include(CPack)
cpack_add_component_group(library)
cpack_add_component_group(archive)
cpack_add_component_group(headers)
cpack_add_component_group(tool)
cpack_add_component(runtime GROUP library)
cpack_add_component(debian_runtime GROUP library)
cpack_add_component(archive_runtime GROUP archive)
cpack_add_component(debian_archive_runtime GROUP archive)
cpack_add_component(development GROUP headers)
cpack_add_component(debian_development GROUP headers)
cpack_add_component(tools GROUP tool)
cpack_add_component(debian_tools GROUP tool)
