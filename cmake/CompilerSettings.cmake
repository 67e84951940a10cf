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

# What makes a fault in memory harder to use, for every program and library of the project: guarded stack frames,
# checked calls of the C library, addresses that change with each start, and tables of the linker that are
# read-only once the program runs. The checked calls need an optimised build, and they would hide faults from the
# sanitizers, which watch the plain ones. A compiler may set the macro by itself, hence the undefining in front.
add_compile_options(-fstack-protector-strong)
add_link_options(LINKER:-z,relro LINKER:-z,now)
set(quorvane_is_program "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>")
add_compile_options("$<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>")
add_link_options("$<${quorvane_is_program}:-pie>")
if(NOT QUORVANE_SANITIZE)
  set(QUORVANE_CHECKED_CALLS "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
  add_compile_options("$<${QUORVANE_CHECKED_CALLS}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
else()
  set(QUORVANE_CHECKED_CALLS 0)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()
