# velmo_version_resource(TARGET DESCRIPTION) adds a version resource, which the properties of
# a Windows program or DLL show. Does nothing on other systems.

function(velmo_version_resource target description)
    if(NOT WIN32)
        return()
    endif()
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        set(VELMO_FILE_TYPE VFT_APP)
        set(VELMO_FILE_SUFFIX .exe)
    else()
        set(VELMO_FILE_TYPE VFT_DLL)
        set(VELMO_FILE_SUFFIX .dll)
    endif()
    set(VELMO_FILE_DESCRIPTION "${description}")
    set(VELMO_FILE_NAME "${target}${VELMO_FILE_SUFFIX}")
    # The resource needs four numbers: "1,2,3,0".
    string(REPLACE "." "," VELMO_VERSION_NUMBERS "${PROJECT_VERSION},0")
    set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../packaging/windows/version.rc.in" "${resource}" @ONLY)
    target_sources(${target} PRIVATE "${resource}")
endfunction()
