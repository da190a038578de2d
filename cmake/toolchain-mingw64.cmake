# Cross-compiles for Windows x64 with the distribution's MinGW-w64 and runs the results with Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The libraries that scripts/windows-deps.sh builds, then those of the distribution.
if(DEFINED ENV{RASTREL_WINDOWS_DEPS})
  set(RASTREL_WINDOWS_DEPS "$ENV{RASTREL_WINDOWS_DEPS}" CACHE PATH "JPEG and EXR libraries for Windows" FORCE)
else()
  get_filename_component(rastrel_windows_deps "${CMAKE_CURRENT_LIST_DIR}/../build/deps/windows-x64" ABSOLUTE)
  set(RASTREL_WINDOWS_DEPS "${rastrel_windows_deps}" CACHE PATH "JPEG and EXR libraries for Windows")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RASTREL_WINDOWS_DEPS)
set(CMAKE_FIND_ROOT_PATH "${RASTREL_WINDOWS_DEPS}" /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-with-wine.sh")
