# The compiler warnings, as an interface library for all our targets. Third-party sources do
# not use it.

add_library(velmo_warnings INTERFACE)
target_compile_options(velmo_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
    $<$<BOOL:${VELMO_WERROR}>:-Werror>)
# Implicit conversions between 8-bit text and QString hide encoding errors.
target_compile_definitions(velmo_warnings INTERFACE
    QT_DEPRECATED_WARNINGS QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH)
