# WebAssembly by Debian's emscripten; programs run under Node. With QEL_UNIT_SIMD, the file is for machines with
# SIMD128, to which emscripten translates the SSE2 forms of the kernels.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run-node.sh)
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
option(QEL_UNIT_SIMD "Compile for WebAssembly with SIMD128" OFF)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QEL_UNIT_SIMD)

# What a program under Node does without. docs/platforms.md names them, too.
set(QEL_UNIT_TESTS_LEFT_OUT
  # threads
  ArchiveThreads.GiveTheSameAnswersAsOneThread Stack.IsMeasuredExactly Stack.SufficesForEveryFunctionWith32KiB
  # shared objects: a package's functions are those that bindings/javascript/CMakeLists.txt reads from the same list
  *Symbols.TheLibraryExportsTheListAndNothingElse* *Symbols.EveryFunctionResolvesInTheLoadedLibrary*
  # pipes with names: those that are made here are empty files
  ArchiveFiles.AreRegular FileMapping.DoesNotWaitForTheWriterOfAPipe HostileScene.ThroughAPipe* SceneLoad.ReadsFromAPipe
  # processes of its own, limits of its files
  AgentSave.ReplacesTheFileAtomically AgentSave.LeavesAWholeFileWheneverTheProcessIsKilled
  AgentSave.KeepsTheOldFileAndTheDirtyMarkOnAFullDisk AgentSave.KeepsTheOldFileIfTheTemporaryNameIsALinkToIt
  # hard links
  File.RemovesALinkButNotTheOnlyName
  # pages of a file in the address space: a mapped file is memory that holds the file's bytes
  FileMapping.RefusesAFileThatTheSystemCannotMap MeshCacheFree.UnmapsAMeshWithoutASkinToo MeshCacheFree.UnmapsReleasesAndClears
  # other users, locales
  ArchiveFiles.NeedPermission *Locales.*)

# Only the tests and the tool catch exceptions. The stack is what Linux gives a program.
set(flags "-fwasm-exceptions")
if(QEL_UNIT_SIMD)
  string(APPEND flags " -msimd128 -msse2")
endif()
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-sALLOW_MEMORY_GROWTH=1 -sMAXIMUM_MEMORY=4GB -sTOTAL_STACK=8MB")
