# The targets "floor" and "floor-calls", for benchmarks and tests.
include_guard(GLOBAL)
foreach(name floor floor-calls)
  add_executable(${name} ${CMAKE_CURRENT_LIST_DIR}/${name}.c)
  target_compile_options(${name} PRIVATE -O2)
  target_link_options(${name} PRIVATE -static)
endforeach()
