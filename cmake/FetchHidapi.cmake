# Provides the sources of hidapi 0.10.1, which are not in this repository:
#   hidapi_headers      interface library with the folder of hidapi.h
#   HIDAPI_PINNED_DIR   the folder with hidapi/, linux/ and windows/
# They come from HIDAPI_SOURCE_DIR or from a pinned npm package that contains them unmodified.
# The package is fetched once for all build folders.

set(HIDAPI_SOURCE_DIR "" CACHE PATH "An unpacked copy of hidapi 0.10.1; empty: the build fetches it")

# Stops unless the folder has the needed sources.
function(_hidapi_check folder)
    foreach(file hidapi/hidapi.h linux/hid.c windows/hid.c)
        if(NOT EXISTS "${folder}/${file}")
            message(FATAL_ERROR "${folder} has no ${file}: set -DHIDAPI_SOURCE_DIR= to the root of "
                                "an unpacked copy of hidapi 0.10.1.")
        endif()
    endforeach()
    file(STRINGS "${folder}/hidapi/hidapi.h" version REGEX "^#define HID_API_VERSION_(MAJOR|MINOR|PATCH) ")
    string(REGEX REPLACE "[^0-9;]" "" version "${version}")
    if(NOT version STREQUAL "0;10;1")
        string(REPLACE ";" "." version "${version}")
        message(FATAL_ERROR "${folder} has hidapi '${version}', not 0.10.1: set -DHIDAPI_SOURCE_DIR= to "
                            "an unpacked copy of hidapi 0.10.1.")
    endif()
endfunction()

# Fetches and unpacks into downloads/hidapi-0.10.1. A file or folder gets its final name only
# when it is complete and checked.
function(_hidapi_fetch downloads)
    set(package "node-hid@2.1.2")
    set(sha256 "a10c108bb98146af5419eedf5a3a288b14bc94258c126e11939d5b8caa814505")
    set(lock_timeout_s 600)
    set(fetch_timeout_s 300)
    set(tarball "${downloads}/node-hid-2.1.2.tgz")
    set(unpacked "${downloads}/hidapi-0.10.1")
    set(partial "${downloads}/hidapi-partial")

    # Builds that are configured at the same time wait for each other here.
    file(MAKE_DIRECTORY "${downloads}")
    file(LOCK "${downloads}/hidapi.lock" GUARD FUNCTION TIMEOUT ${lock_timeout_s} RESULT_VARIABLE locked)
    if(NOT locked STREQUAL "0")
        message(FATAL_ERROR "${downloads}/hidapi.lock could not be locked (${locked}): another configure "
                            "run holds it. Wait for it and configure again.")
    endif()
    if(EXISTS "${unpacked}")
        return()
    endif()

    if(EXISTS "${tarball}")
        file(SHA256 "${tarball}" found)
    else()
        set(found "")
    endif()
    if(NOT found STREQUAL sha256)
        find_program(NPM_EXECUTABLE npm)
        if(NOT NPM_EXECUTABLE)
            message(FATAL_ERROR "npm is needed to fetch the sources of hidapi 0.10.1. Install it, or set "
                                "-DHIDAPI_SOURCE_DIR= to an unpacked copy.")
        endif()
        message(STATUS "Fetching hidapi 0.10.1 (npm package ${package})")
        file(REMOVE_RECURSE "${partial}")
        file(MAKE_DIRECTORY "${partial}")
        execute_process(
            COMMAND "${NPM_EXECUTABLE}" pack --ignore-scripts --silent ${package}
            WORKING_DIRECTORY "${partial}"
            TIMEOUT ${fetch_timeout_s}
            RESULT_VARIABLE result
            OUTPUT_QUIET
            ERROR_VARIABLE errors)
        set(fetched "${partial}/node-hid-2.1.2.tgz")
        if(NOT result EQUAL 0 OR NOT EXISTS "${fetched}")
            message(FATAL_ERROR "npm could not fetch ${package} (${result}): check the network and npm's "
                                "registry setting, or set -DHIDAPI_SOURCE_DIR= to an unpacked copy of "
                                "hidapi 0.10.1.\n${errors}")
        endif()
        file(SHA256 "${fetched}" found)
        if(NOT found STREQUAL sha256)
            file(REMOVE "${fetched}")
            message(FATAL_ERROR "npm's package ${package} has the SHA-256 ${found}, not ${sha256}, and was "
                                "deleted. Check npm's registry setting, or set "
                                "-DHIDAPI_SOURCE_DIR= to an unpacked copy of hidapi 0.10.1.")
        endif()
        file(RENAME "${fetched}" "${tarball}")
    endif()

    file(REMOVE_RECURSE "${partial}")
    file(ARCHIVE_EXTRACT INPUT "${tarball}" DESTINATION "${partial}" PATTERNS "package/hidapi/*")
    file(RENAME "${partial}/package/hidapi" "${unpacked}")
    file(REMOVE_RECURSE "${partial}")
endfunction()

if(HIDAPI_SOURCE_DIR)
    set(HIDAPI_PINNED_DIR "${HIDAPI_SOURCE_DIR}")
else()
    get_filename_component(_hidapi_downloads "${CMAKE_CURRENT_LIST_DIR}/../build/downloads" ABSOLUTE)
    _hidapi_fetch("${_hidapi_downloads}")
    set(HIDAPI_PINNED_DIR "${_hidapi_downloads}/hidapi-0.10.1")
endif()
_hidapi_check("${HIDAPI_PINNED_DIR}")

add_library(hidapi_headers INTERFACE)
target_include_directories(hidapi_headers SYSTEM INTERFACE "${HIDAPI_PINNED_DIR}/hidapi")
