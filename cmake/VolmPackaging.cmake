# SPDX-License-Identifier: MIT
# The Windows zip, made by CPack from the install rules:
#   cpack --preset windows   build/windows/VolmTime-0.3.0-win64.zip
# Its programs and the DLL are stripped; their debug information is kept apart in
# build/windows/debug/VolmTime-0.3.0-win64-debug, one FILE.debug per binary, each binary
# naming its file by a debug link. Debian packages come from debian/ (scripts/package.sh).
if(NOT WIN32)
  return()
endif()
set(CPACK_PACKAGE_NAME VolmTime)
set(CPACK_PACKAGE_VENDOR VolmTime)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR ZIP)
set(CPACK_SYSTEM_NAME win64)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/VolmSplitDebug.cmake)
set(CPACK_VOLM_OBJCOPY ${CMAKE_OBJCOPY})
set(CPACK_VOLM_DEBUG_DIR ${PROJECT_BINARY_DIR}/debug/VolmTime-${PROJECT_VERSION}-win64-debug)
include(CPack)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
