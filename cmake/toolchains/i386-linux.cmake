# Linux on 32-bit x86 with SSE2: Debian's g++-i686-linux-gnu, which lives beside other cross compilers (g++-multilib
# does not). Floats are computed in SSE registers: the x87's wider ones would round twice.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# A 64-bit kernel runs the programs as they are; only their C library is in a place of its own.
set(i386_library /usr/i686-linux-gnu/lib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,--dynamic-linker=${i386_library}/ld-linux.so.2 -Wl,--disable-new-dtags -Wl,-rpath,${i386_library}")
