# Changes the files of the .deb after their installation and before packing: adds the changelog, and
# compresses it and the manual, as Debian requires. Debian's zsh reads the completions of packages from
# another directory.
cmake_minimum_required(VERSION 3.22)

set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/ALL_COMPONENTS_IN_ONE")
set(changelog "${root}/usr/share/doc/tavrin-hook/changelog")
execute_process(
  COMMAND python3 "${CMAKE_CURRENT_LIST_DIR}/changelog.py" "${CPACK_PACKAGE_VERSION}" "${CPACK_PACKAGE_CONTACT}"
  INPUT_FILE "${CMAKE_CURRENT_LIST_DIR}/../../CHANGELOG.md"
  OUTPUT_FILE "${changelog}"
  COMMAND_ERROR_IS_FATAL ANY)
file(GLOB pages "${root}/usr/share/man/man*/*")
execute_process(COMMAND gzip -9n "${changelog}" ${pages} COMMAND_ERROR_IS_FATAL ANY)
if(EXISTS "${root}/usr/share/zsh/site-functions")
  file(RENAME "${root}/usr/share/zsh/site-functions" "${root}/usr/share/zsh/vendor-completions")
endif()
