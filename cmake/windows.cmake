# Builds for 64-bit Windows, with mingw-w64's compiler for threads of the standard library.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# What scripts/windows-libraries has built.
set(CORVANE_WINDOWS_LIBRARIES ${CMAKE_CURRENT_LIST_DIR}/../build/windows-libraries)
set(ENV{PKG_CONFIG_LIBDIR} ${CORVANE_WINDOWS_LIBRARIES}/lib/pkgconfig)
set(CMAKE_FIND_ROOT_PATH ${CORVANE_WINDOWS_LIBRARIES} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
include_directories(SYSTEM ${CORVANE_WINDOWS_LIBRARIES}/include)
