# The install component "dev", for programs that link the library: headers, static libraries, the schema of session
# files, and the files that CMake and pkg-config read. All paths in them are relative, so the tree can be moved.
include(CMakePackageConfigHelpers)

set(package_directory "${CMAKE_INSTALL_LIBDIR}/cmake/Tavrin")

# Headers that only the library's own sources include are not installed.
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/private-headers.txt" private_headers)
set(private_patterns)
foreach(header IN LISTS private_headers)
  list(APPEND private_patterns PATTERN "${header}" EXCLUDE)
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/TavrinCore" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT dev
  FILES_MATCHING PATTERN "*.hpp" ${private_patterns})

install(FILES "${PROJECT_SOURCE_DIR}/docs/session.schema.json" DESTINATION "${CMAKE_INSTALL_DATADIR}/tavrin"
  COMPONENT dev)

# One export set for each component, because each needs other libraries.
set(components Core)
if(TAVRIN_BUILD_PANEL)
  list(APPEND components Panel)
endif()
foreach(component IN LISTS components)
  set_target_properties(Tavrin${component} PROPERTIES EXPORT_NAME ${component})
  install(TARGETS Tavrin${component} EXPORT Tavrin${component}Targets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(EXPORT Tavrin${component}Targets NAMESPACE Tavrin:: DESTINATION "${package_directory}" COMPONENT dev)
endforeach()

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TavrinConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/package/TavrinConfig.cmake" INSTALL_DESTINATION "${package_directory}")
# Before 1.0, a new minor version may change anything.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/TavrinConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/TavrinConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/TavrinConfigVersion.cmake"
  "${CMAKE_CURRENT_LIST_DIR}/Findutf8proc.cmake"
  DESTINATION "${package_directory}" COMPONENT dev)

file(RELATIVE_PATH TAVRIN_PREFIX_FROM_PKGCONFIG "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" TAVRIN_PREFIX_FROM_PKGCONFIG "${TAVRIN_PREFIX_FROM_PKGCONFIG}")
set(TAVRIN_PANEL_REQUIRES)
if(NOT APPLE)
  set(TAVRIN_PANEL_REQUIRES "icu-i18n icu-uc")
endif()
set(modules tavrin-core)
if(TAVRIN_BUILD_PANEL)
  list(APPEND modules tavrin-panel)
endif()
foreach(name IN LISTS modules)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in" "${PROJECT_BINARY_DIR}/package/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/package/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT dev)
endforeach()
