# Builds for macOS on Linux with the compiler, headers and libraries that zig contains. scripts/macos-tools.sh puts zig,
# the headers of Boost and CLI11, and the sources of utf8proc and libuv into build/macos-tools. TAVRIN_MACOS_ARCH is the processor: arm64 or x86_64.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${TAVRIN_MACOS_ARCH})
set(CMAKE_SIZEOF_VOID_P 8)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAVRIN_MACOS_ARCH)
# Before zig links, it compiles a C++ library for each level of optimisation. CMake's checks need no linking.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH root)
set(tools ${root}/build/macos-tools)
string(REPLACE arm64 aarch64 processor "${TAVRIN_MACOS_ARCH}")
set(CMAKE_C_COMPILER ${tools}/zig cc -target ${processor}-macos.12.0)
set(CMAKE_CXX_COMPILER ${tools}/zig c++ -target ${processor}-macos.12.0)
# The system's own archiver does not know the format of macOS's files.
find_program(CMAKE_AR llvm-ar REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib REQUIRED)
# CMake wants this program, though nothing here uses it.
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool)

# Without -g0, zig adds debug information. The second option keeps this machine's paths out of the result.
set(CMAKE_C_FLAGS_INIT "-g0 \"-ffile-prefix-map=${root}/=\"")
set(CMAKE_CXX_FLAGS_INIT "-g0 \"-ffile-prefix-map=${root}/=\"")
set(CMAKE_EXE_LINKER_FLAGS_INIT "\"-L${CMAKE_CURRENT_LIST_DIR}/macos\"")

set(Boost_NO_BOOST_CMAKE ON)
if(NOT Boost_INCLUDE_DIR)
  set(Boost_INCLUDE_DIR ${tools}/include)
endif()
set(CLI11_DIR ${root}/cmake/macos)
set(TAVRIN_UTF8PROC_SOURCE ${tools}/utf8proc)
set(TAVRIN_LIBUV_SOURCE ${tools}/libuv)
