# Finds libuv as the target libuv::uv_a, the name that libuv's own CMake files use for the static library. The static
# library is preferred, so that tavrin does not depend on the version that a machine happens to have.
# If TAVRIN_LIBUV_SOURCE is set, libuv is compiled from there for macOS, with the list of sources in its CMakeLists.txt.
if(TAVRIN_LIBUV_SOURCE)
  set(LIBUV_INCLUDE_DIR "${TAVRIN_LIBUV_SOURCE}/include")
  set(LIBUV_LIBRARY libuv::uv_a)
  if(NOT TARGET uv_a)
    set(libuv_sources
      fs-poll idna inet random strscpy strtok threadpool timer uv-common uv-data-getter-setters version
      unix/async unix/bsd-ifaddrs unix/core unix/darwin unix/darwin-proctitle unix/dl unix/fs unix/fsevents
      unix/getaddrinfo unix/getnameinfo unix/kqueue unix/loop unix/loop-watcher unix/pipe unix/poll unix/process
      unix/proctitle unix/random-devurandom unix/random-getentropy unix/signal unix/stream unix/tcp unix/thread
      unix/tty unix/udp)
    list(TRANSFORM libuv_sources PREPEND "${TAVRIN_LIBUV_SOURCE}/src/")
    list(TRANSFORM libuv_sources APPEND .c)
    add_library(uv_a STATIC ${libuv_sources})
    add_library(libuv::uv_a ALIAS uv_a)
    target_include_directories(uv_a SYSTEM PUBLIC "${LIBUV_INCLUDE_DIR}" PRIVATE "${TAVRIN_LIBUV_SOURCE}/src")
    target_compile_definitions(uv_a PRIVATE _DARWIN_UNLIMITED_SELECT=1 _DARWIN_USE_64_BIT_INODE=1)
    # The linker leaves out functions that nothing calls.
    target_compile_options(uv_a PRIVATE -w -std=gnu90 -fno-strict-aliasing -ffunction-sections -fdata-sections)
  endif()
endif()
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
