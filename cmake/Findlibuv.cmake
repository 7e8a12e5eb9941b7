# Finds libuv as the target libuv::uv_a, the name that libuv's own CMake files use for the static library. The static
# library is preferred, so that tavrin does not depend on the version that a machine happens to have.
find_path(LIBUV_INCLUDE_DIR uv.h)
find_library(LIBUV_LIBRARY NAMES libuv_a.a libuv.a uv)
mark_as_advanced(LIBUV_INCLUDE_DIR LIBUV_LIBRARY)

set(libuv_VERSION)
if(LIBUV_INCLUDE_DIR AND EXISTS "${LIBUV_INCLUDE_DIR}/uv/version.h")
  file(STRINGS "${LIBUV_INCLUDE_DIR}/uv/version.h" libuv_numbers REGEX "#define UV_VERSION_(MAJOR|MINOR|PATCH) +[0-9]+")
  list(TRANSFORM libuv_numbers REPLACE ".* ([0-9]+).*" "\\1")
  list(JOIN libuv_numbers "." libuv_VERSION)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(libuv
  REQUIRED_VARS LIBUV_LIBRARY LIBUV_INCLUDE_DIR VERSION_VAR libuv_VERSION)

if(libuv_FOUND AND NOT TARGET libuv::uv_a)
  find_package(Threads REQUIRED)
  add_library(libuv::uv_a UNKNOWN IMPORTED)
  set_target_properties(libuv::uv_a PROPERTIES
    IMPORTED_LOCATION "${LIBUV_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LIBUV_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "Threads::Threads;${CMAKE_DL_LIBS}")
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    set_property(TARGET libuv::uv_a APPEND PROPERTY INTERFACE_LINK_LIBRARIES rt)
  endif()
endif()
