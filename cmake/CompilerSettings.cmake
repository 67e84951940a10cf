# Warnings and sanitizers as interface targets, so that each is chosen in one place.
add_library(quorvane_warnings INTERFACE)
target_compile_options(quorvane_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(QUORVANE_WARNINGS_AS_ERRORS)
  target_compile_options(quorvane_warnings INTERFACE -Werror)
endif()

add_library(quorvane_sanitizers INTERFACE)
if(QUORVANE_SANITIZE)
  target_compile_options(quorvane_sanitizers INTERFACE
    -fsanitize=${QUORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorvane_sanitizers INTERFACE -fsanitize=${QUORVANE_SANITIZE})
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()
