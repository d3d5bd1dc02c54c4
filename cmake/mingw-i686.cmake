# Cross build of the Windows i686 DLL with Debian's MinGW-w64 toolchain (g++-mingw-w64-i686).
# The win32 thread model is preferred: it needs no libwinpthread-1.dll at run time.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)

set(ZEM_MINGW i686-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${ZEM_MINGW}-gcc-win32 ${ZEM_MINGW}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${ZEM_MINGW}-g++-win32 ${ZEM_MINGW}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${ZEM_MINGW}-windres REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${ZEM_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
