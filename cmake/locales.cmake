# Makes locales for the tests: a decimal comma, and a decimal point of two bytes. Where they cannot be made (the system
# is not one of glibc, or its locale sources are not installed), QEL_UNIT_LOCALES is not set and the tests skip.
find_program(QEL_UNIT_LOCALEDEF localedef)
if(QEL_UNIT_LOCALEDEF AND NOT CMAKE_CROSSCOMPILING)
  set(locale_folder ${PROJECT_BINARY_DIR}/tests/locales)
  foreach(name IN ITEMS de_DE ps_AF)
    if(EXISTS /usr/share/i18n/locales/${name} AND NOT EXISTS ${locale_folder}/${name}.UTF-8/LC_NUMERIC)
      file(MAKE_DIRECTORY ${locale_folder})
      # Warnings about a locale's source, of which some have many, make an exit code but no difference.
      execute_process(COMMAND ${QEL_UNIT_LOCALEDEF} -c -i ${name} -f UTF-8 ${locale_folder}/${name}.UTF-8
                      OUTPUT_QUIET ERROR_QUIET)
    endif()
    if(EXISTS ${locale_folder}/${name}.UTF-8/LC_NUMERIC)
      set(QEL_UNIT_LOCALES ${locale_folder})
    endif()
  endforeach()
endif()
if(NOT QEL_UNIT_LOCALES)
  message(STATUS "No locale sources here (Debian: locales): tests of other locales use the system's or are skipped")
endif()
