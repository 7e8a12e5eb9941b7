# CPack's number for the installed size depends on the file system, which decides the size of directories, and
# counts some files more than once. This replaces it with Debian's number: each file in whole KiB, and one for
# everything else.
cmake_minimum_required(VERSION 3.22)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/rebuilt")
  execute_process(COMMAND dpkg-deb --raw-extract "${package}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)

  file(GLOB_RECURSE paths LIST_DIRECTORIES true "${tree}/usr/*")
  set(size 1)  # of /usr
  foreach(path IN LISTS paths)
    if(IS_DIRECTORY "${path}" OR IS_SYMLINK "${path}")
      math(EXPR size "${size} + 1")
    else()
      file(SIZE "${path}" bytes)
      math(EXPR size "${size} + (${bytes} + 1023) / 1024")
    endif()
  endforeach()

  file(READ "${tree}/DEBIAN/control" control)
  string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${size}" control "${control}")
  file(WRITE "${tree}/DEBIAN/control" "${control}")
  # With one thread, because the bytes depend on the number of threads.
  execute_process(COMMAND dpkg-deb --root-owner-group --threads-max=1 -Zxz --build "${tree}" "${package}"
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
