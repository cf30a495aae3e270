# Run by CPack on what goes into the packages: Debian wants its manual pages compressed, without a time in them.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*.1)
list(FILTER pages INCLUDE REGEX "/share/man/man1/")
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
