# Decides which optional parts are built.
#
#   TAVRIN_BUILD_PANEL      TavrinPanel, which sorts names by the user's language: needs ICU, or macOS
#   TAVRIN_BUILD_TERMINAL   the executable tavrin: needs TavrinPanel, libuv 1.44 and CLI11 2.1
#
# Each is AUTO unless somebody sets it. AUTO becomes ON where everything that the part needs is found, so a library
# that is installed later is noticed at the next configuration. ON makes a missing library an error.

# Sets TAVRIN_BUILD_<part> to ON or OFF for this directory and those below: tavrin_optional_part(PART NAME MISSING...)
function(tavrin_optional_part part name)
  set(option TAVRIN_BUILD_${part})
  set(${option} AUTO CACHE STRING "Build ${name}: ON, OFF, or AUTO, which means ON where its libraries are found")
  set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
  list(JOIN ARGN ", " missing)
  if(${option} STREQUAL "AUTO")
    if(missing)
      message(STATUS "${name} is not built, because this was not found: ${missing}")
      set(${option} OFF PARENT_SCOPE)
    else()
      set(${option} ON PARENT_SCOPE)
    endif()
  elseif(${option} AND missing)
    message(FATAL_ERROR "${option} is on, but this was not found: ${missing}")
  elseif(NOT ${option})
    message(STATUS "${name} is not built, because ${option} is off")
  endif()
endfunction()

set(missing)
if(NOT APPLE)
  find_package(ICU QUIET COMPONENTS i18n uc data)
  if(NOT ICU_FOUND)
    list(APPEND missing ICU)
  endif()
endif()
tavrin_optional_part(PANEL TavrinPanel ${missing})

set(missing)
if(NOT TAVRIN_BUILD_PANEL)
  list(APPEND missing TavrinPanel)
endif()
if(EXISTS "${PROJECT_SOURCE_DIR}/TavrinTerminal/CMakeLists.txt")
  find_package(libuv 1.44 QUIET MODULE)
  find_package(CLI11 2.1 QUIET CONFIG)
  foreach(package IN ITEMS libuv CLI11)
    if(NOT ${package}_FOUND)
      list(APPEND missing ${package})
    endif()
  endforeach()
else()
  list(APPEND missing TavrinTerminal)
endif()
tavrin_optional_part(TERMINAL tavrin ${missing})
