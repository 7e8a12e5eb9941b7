file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/../../build/macos-tools/include/CLI/Version.hpp" version
     REGEX "#define CLI11_VERSION \"")
string(REGEX REPLACE ".*\"(.*)\".*" "\\1" PACKAGE_VERSION "${version}")
if(PACKAGE_VERSION VERSION_GREATER_EQUAL PACKAGE_FIND_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE TRUE)
endif()
