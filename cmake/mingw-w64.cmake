# Toolchain file for 64-bit Windows with a mingw-w64 cross compiler. C++ threads need its
# variant with POSIX threads.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Where packaging/windows/build-qt has put Qt. Targets without Qt do not need it.
set(VELMO_QT_WINDOWS "" CACHE PATH "Qt for Windows, built by packaging/windows/build-qt")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMO_QT_WINDOWS)
if(VELMO_QT_WINDOWS)
    list(APPEND CMAKE_PREFIX_PATH "${VELMO_QT_WINDOWS}")
endif()

# Use the host's programs, but the target's headers and libraries.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${VELMO_QT_WINDOWS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
