# The target "floor", for benchmarks and tests.
include_guard(GLOBAL)
add_executable(floor ${CMAKE_CURRENT_LIST_DIR}/floor.c)
target_compile_options(floor PRIVATE -O2)
target_link_options(floor PRIVATE -static)
