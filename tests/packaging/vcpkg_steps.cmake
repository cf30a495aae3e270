# The functions of vcpkg that the port calls, each doing what vcpkg's own does for one configuration, without vcpkg.
# Use: cmake -DPORT=<portfile> -DCURRENT_PACKAGES_DIR=<prefix> -DSCRATCH=<folder> -P vcpkg_steps.cmake
cmake_minimum_required(VERSION 3.21)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

function(vcpkg_download_distfile result)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FILENAME;SHA512" "URLS")
  file(DOWNLOAD ${arg_URLS} ${SCRATCH}/${arg_FILENAME} EXPECTED_HASH SHA512=${arg_SHA512})
  set(${result} ${SCRATCH}/${arg_FILENAME} PARENT_SCOPE)
endfunction()

function(vcpkg_extract_source_archive result)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "ARCHIVE" "")
  file(ARCHIVE_EXTRACT INPUT ${arg_ARCHIVE} DESTINATION ${SCRATCH}/sources)
  file(GLOB folder ${SCRATCH}/sources/*) # the one at the top of the tarball
  set(${result} ${folder} PARENT_SCOPE)
endfunction()

function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
  run(${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B ${SCRATCH}/build -G Ninja -DCMAKE_BUILD_TYPE=Release
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} -DCMAKE_INSTALL_LIBDIR=lib ${arg_OPTIONS})
endfunction()

function(vcpkg_cmake_install)
  run(${CMAKE_COMMAND} --build ${SCRATCH}/build --target install)
endfunction()

# Moves what find_package reads, and tells it that the prefix is two folders above.
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
  set(folder ${CURRENT_PACKAGES_DIR}/share/${arg_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${CURRENT_PACKAGES_DIR}/share)
  file(RENAME ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH} ${folder})
  file(REMOVE_RECURSE ${CURRENT_PACKAGES_DIR}/lib/cmake)
  file(GLOB files ${folder}/*.cmake)
  set(up "get_filename_component(_IMPORT_PREFIX \"\${_IMPORT_PREFIX}\" PATH)\n")
  foreach(file IN LISTS files)
    file(READ ${file} text)
    string(REPLACE "${up}${up}${up}" "${up}${up}" text "${text}")
    file(WRITE ${file} "${text}")
  endforeach()
endfunction()

function(vcpkg_fixup_pkgconfig)
  file(GLOB files ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/*.pc)
  if(NOT files)
    message(FATAL_ERROR "there is nothing for pkg-config")
  endif()
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FILE_LIST")
  file(COPY_FILE ${arg_FILE_LIST} ${CURRENT_PACKAGES_DIR}/share/qel-unit/copyright)
endfunction()

file(MAKE_DIRECTORY ${CURRENT_PACKAGES_DIR}/share/qel-unit)
include(${PORT})
