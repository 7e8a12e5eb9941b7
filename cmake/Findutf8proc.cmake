# Finds utf8proc as the target utf8proc::utf8proc. It serves this build and is installed beside TavrinConfig.cmake for
# programs that link the library.
find_path(UTF8PROC_INCLUDE_DIR utf8proc.h)
# The static library is preferred because tavrin-hook is linked statically.
find_library(UTF8PROC_LIBRARY NAMES libutf8proc.a utf8proc)
mark_as_advanced(UTF8PROC_INCLUDE_DIR UTF8PROC_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(utf8proc REQUIRED_VARS UTF8PROC_LIBRARY UTF8PROC_INCLUDE_DIR)

if(utf8proc_FOUND AND NOT TARGET utf8proc::utf8proc)
  add_library(utf8proc::utf8proc UNKNOWN IMPORTED)
  set_target_properties(utf8proc::utf8proc PROPERTIES
    IMPORTED_LOCATION "${UTF8PROC_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${UTF8PROC_INCLUDE_DIR}")
endif()
