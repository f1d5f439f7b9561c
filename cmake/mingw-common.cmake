# Shared part of the mingw-w64 cross toolchains. ORVANE_MINGW_TRIPLE names
# the target before this file is included.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${ORVANE_MINGW_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ORVANE_MINGW_TRIPLE}-g++)
set(CMAKE_RC_COMPILER ${ORVANE_MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ORVANE_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Threads come from the toolchain's winpthreads; prefer its POSIX thread
# model compilers when they are installed.
if(EXISTS /usr/bin/${ORVANE_MINGW_TRIPLE}-g++-posix)
  set(CMAKE_C_COMPILER ${ORVANE_MINGW_TRIPLE}-gcc-posix)
  set(CMAKE_CXX_COMPILER ${ORVANE_MINGW_TRIPLE}-g++-posix)
endif()
