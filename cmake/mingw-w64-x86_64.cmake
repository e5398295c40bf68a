# Cross compiling for Windows x86-64 with Debian's MinGW-w64 (g++-mingw-w64-x86-64-posix: the posix
# thread model, which std::thread needs). Programs built here run on Linux under Wine: CTest starts them
# through scripts/wine-run, the emulator below.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KERN83_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KERN83_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KERN83_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KERN83_MINGW_TRIPLE}-windres)

# Libraries and headers of the target only; programs of the host.
set(CMAKE_FIND_ROOT_PATH /usr/${KERN83_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
