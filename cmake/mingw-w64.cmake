# Cross-builds for Windows with mingw-w64. TARVEX_MACHINE is x86_64 or i686.
set(TARVEX_MACHINE x86_64 CACHE STRING "Target machine: x86_64 or i686")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARVEX_MACHINE)

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${TARVEX_MACHINE})
set(TARVEX_TRIPLE ${TARVEX_MACHINE}-w64-mingw32)

# The compiler with Windows' own threads: the one with POSIX threads leaves handles and a
# thread-local slot behind each time the DLL is unloaded.
set(CMAKE_CXX_COMPILER ${TARVEX_TRIPLE}-g++-win32)
set(CMAKE_C_COMPILER ${TARVEX_TRIPLE}-gcc-win32)  # GoogleTest asks for one
set(CMAKE_RC_COMPILER ${TARVEX_TRIPLE}-windres)
set(TARVEX_WIDL ${TARVEX_TRIPLE}-widl)

# How CTest starts the programs.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/run_windows.sh;${TARVEX_MACHINE})

set(CMAKE_FIND_ROOT_PATH /usr/${TARVEX_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
