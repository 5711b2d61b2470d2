# SPDX-License-Identifier: MIT
# Man pages for the volmtime tool, made with help2man from the tool's own --help texts, so
# the pages and the help never differ. Built where the tool runs (not in a cross build) and
# help2man is there; installed in share/man/man1.
if(NOT TARGET volmtime OR CMAKE_CROSSCOMPILING)
  return()
endif()
find_program(VOLM_HELP2MAN help2man)
if(NOT VOLM_HELP2MAN)
  message(STATUS "VolmTime: no man pages (needs help2man)")
  return()
endif()
set(volm_man_dir ${PROJECT_BINARY_DIR}/man)
add_custom_command(OUTPUT ${volm_man_dir}/volmtime.1
                   COMMAND bash ${PROJECT_SOURCE_DIR}/cmake/make-manpages.sh $<TARGET_FILE:volmtime>
                           ${volm_man_dir} ${PROJECT_VERSION}
                   DEPENDS volmtime ${PROJECT_SOURCE_DIR}/cmake/make-manpages.sh
                   COMMENT "Man pages from volmtime --help"
                   VERBATIM)
add_custom_target(volmtime_man_pages ALL DEPENDS ${volm_man_dir}/volmtime.1)
install(DIRECTORY ${volm_man_dir}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 FILES_MATCHING PATTERN "*.1")
