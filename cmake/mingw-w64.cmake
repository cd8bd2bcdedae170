# Toolchain file: 64-bit Windows from a mingw-w64 cross compiler (the variant with
# POSIX threads, which C++'s threads need).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Where packaging/windows/build-qt put Qt; not needed for what does without.
set(VELMO_QT_WINDOWS "" CACHE PATH "Qt for Windows, as packaging/windows/build-qt makes it")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMO_QT_WINDOWS)
if(VELMO_QT_WINDOWS)
    list(APPEND CMAKE_PREFIX_PATH "${VELMO_QT_WINDOWS}")
endif()

# Programs of the host, headers and libraries of the target.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${VELMO_QT_WINDOWS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
