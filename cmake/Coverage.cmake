# VELMO_COVERAGE counts how often each line runs. Several threads count, so the counters are atomic.

if(VELMO_COVERAGE)
    add_compile_options(-O0 --coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
