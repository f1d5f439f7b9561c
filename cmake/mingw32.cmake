# i686 (32-bit) Windows cross build with mingw-w64. It is built, not run.
set(ORVANE_MINGW_TRIPLE i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR x86)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
