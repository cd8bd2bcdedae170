# VELMO_SANITIZE applies to all targets. If only some parts of a program were instrumented, it
# would report races and leaks that do not exist.

if(VELMO_SANITIZE)
    add_compile_options(-fsanitize=${VELMO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VELMO_SANITIZE})
endif()
