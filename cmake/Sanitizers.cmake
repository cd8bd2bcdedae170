# VELMO_SANITIZE applies to every target of the build: a program in which only
# some parts are instrumented reports races and leaks that are not there.

if(VELMO_SANITIZE)
    add_compile_options(-fsanitize=${VELMO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VELMO_SANITIZE})
endif()
