# A library of this project with everything that its libraries have in common: what may be seen, how it is compiled,
# named, linked and installed. cmake/install.cmake installs every library made here.

# Sources compiled once into objects: what a library is linked from, and the tests that look inside or make
# allocations fail. Use: qel_add_objects(<target> <source>...)
function(qel_add_objects target)
  add_library(${target} OBJECT ${ARGN})
  qel_compile_options(${target})
  qel_pass_on_instrumentation(${target})
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include PRIVATE ${PROJECT_SOURCE_DIR}/src)
  if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC QEL_UNIT_STATIC)
  endif()
  if(NOT MSVC)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT PROJECT_IS_TOP_LEVEL)
      # Of a parent's checks, this one alone asks for a part of the runtime that programs in C are not linked with.
      target_compile_options(${target} PRIVATE -fno-sanitize=function)
    endif()
  endif()
  if(QEL_UNIT_COVERAGE) # only what is measured is instrumented
    # Counts of several threads are added atomically: a lost update makes counts that contradict each other, and gcov
    # then prints negative ones, which its readers refuse.
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
  endif()
endfunction()

# What links instrumented code needs the runtime of the instruments.
function(qel_pass_on_instrumentation target)
  if(QEL_UNIT_COVERAGE)
    target_link_options(${target} PUBLIC --coverage)
  endif()
  if(QEL_UNIT_SANITIZE)
    target_link_options(${target} INTERFACE -fsanitize=${QEL_UNIT_SANITIZE})
  endif()
endfunction()

# Use: qel_add_library(<name> DESCRIPTION <text> HEADER <file in include/> EXPORTS <file> SOURCES <source>...
#                     [OBJECTS <target>...])
# Makes the library <name>, shared or static by BUILD_SHARED_LIBS, with the alias qel_unit::<name>; EXPORTS is the
# linker's list of what may be seen. Its own objects are <name>_objects; OBJECTS are targets of qel_add_objects that it
# shares with other libraries, and targets that link <name>_objects get them, too.
function(qel_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION;HEADER;EXPORTS" "SOURCES;OBJECTS")
  qel_add_objects(${name}_objects ${arg_SOURCES})
  set(objects $<TARGET_OBJECTS:${name}_objects>)
  foreach(shared IN LISTS arg_OBJECTS)
    list(APPEND objects $<TARGET_OBJECTS:${shared}>)
    target_sources(${name}_objects INTERFACE $<TARGET_OBJECTS:${shared}>)
  endforeach()
  if(BUILD_SHARED_LIBS)
    string(TOUPPER ${name}_BUILDING building)
    target_compile_definitions(${name}_objects PRIVATE ${building})
  endif()

  add_library(${name} ${objects})
  add_library(qel_unit::${name} ALIAS ${name})
  qel_compile_options(${name})
  qel_pass_on_instrumentation(${name})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    QEL_UNIT_DESCRIPTION "${arg_DESCRIPTION}" # in what pkg-config says
    PUBLIC_HEADER ${PROJECT_SOURCE_DIR}/include/${arg_HEADER})
  target_include_directories(${name} INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
  if(BUILD_SHARED_LIBS)
    qel_link_shared(${name} ${CMAKE_CURRENT_SOURCE_DIR}/${arg_EXPORTS})
  else()
    target_compile_definitions(${name} INTERFACE QEL_UNIT_STATIC)
  endif()
  set_property(GLOBAL APPEND PROPERTY QEL_UNIT_LIBRARIES ${name})
endfunction()

# How a shared library is linked. EXPORTS lists what may be seen.
function(qel_link_shared target exports)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "") # qel_unit.dll
  endif()
  if(MINGW)
    # The compiler's own libraries go into the DLL: it needs nothing beside it but what Windows has.
    target_link_options(${target} PRIVATE -static -Wl,--exclude-all-symbols)
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" AND UNIX AND NOT APPLE)
    # Nothing but the interface is visible, template instances of the standard library included.
    target_link_options(${target} PRIVATE -Wl,--version-script=${exports})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
    # A sanitizer's own functions are resolved by the program. A parent may bring one in more ways than can be asked
    # for, so what is missing is looked for where the project is built by itself.
    if(PROJECT_IS_TOP_LEVEL AND NOT QEL_UNIT_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()
