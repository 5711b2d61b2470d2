# SPDX-License-Identifier: MIT
# Run by CPack on its staging folder before it zips it: every program and DLL gives its debug
# information to FILE.debug in CPACK_VOLM_DEBUG_DIR, is stripped, and keeps a debug link to
# that file (gdb and other debuggers find it there or beside the binary).
file(GLOB_RECURSE volm_binaries ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.exe
     ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.dll)
if(NOT volm_binaries)
  message(FATAL_ERROR "no programs or DLLs staged in ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
file(REMOVE_RECURSE ${CPACK_VOLM_DEBUG_DIR})
file(MAKE_DIRECTORY ${CPACK_VOLM_DEBUG_DIR})
foreach(binary ${volm_binaries})
  get_filename_component(name ${binary} NAME)
  set(debug_file ${CPACK_VOLM_DEBUG_DIR}/${name}.debug)
  foreach(step "--only-keep-debug;${binary};${debug_file}"
               "--strip-unneeded;--add-gnu-debuglink=${debug_file};${binary}")
    execute_process(COMMAND ${CPACK_VOLM_OBJCOPY} ${step} RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "${CPACK_VOLM_OBJCOPY} ${step} failed")
    endif()
  endforeach()
endforeach()
