# Fails unless LIBRARY exports exactly the functions that HEADERS declare.
# Run after linking, with NM (Linux) or OBJDUMP (Windows).

set(declared "")
foreach(header IN LISTS HEADERS)
    file(READ "${header}" text)
    # The name and opening bracket of each declaration with the export macro.
    string(REGEX MATCHALL "HID_API_(EXPORT_)?CALL +hid_[a-z_]+\\(" found "${text}")
    list(APPEND declared ${found})
endforeach()
list(TRANSFORM declared REPLACE "^.* (hid_[a-z_]+)\\($" "\\1")

if(WINDOWS)
    execute_process(COMMAND "${OBJDUMP}" -p "${LIBRARY}" OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    # The lines of this table look like "[   3] hid_exit". An empty line ends it.
    string(REGEX REPLACE "^.*\n.Ordinal/Name Pointer. Table\n" "" text "${text}")
    string(REGEX REPLACE "\n\n.*$" "\n" text "${text}")
else()
    execute_process(COMMAND "${NM}" -D --defined-only "${LIBRARY}" OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
endif()
# The name is the last word of each line.
string(REGEX MATCHALL "[^ \n]+\n" exported "${text}")
list(TRANSFORM exported STRIP)

list(SORT declared)
list(SORT exported)
if(declared STREQUAL "" OR NOT declared STREQUAL exported)
    message(FATAL_ERROR "${LIBRARY} exports\n  ${exported}\nbut should export\n  ${declared}")
endif()
