# SPDX-License-Identifier: MIT
# Compiler settings shared by every target of the project.
add_library(volm_options INTERFACE)
target_compile_options(volm_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                              -Wsign-conversion -Wnon-virtual-dtor -Werror)

if(WIN32)
  # Unicode Win32 entry points, no min/max macros, Windows 8 or later API level
  # (GetSystemTimePreciseAsFileTime).
  target_compile_definitions(volm_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                                                    _WIN32_WINNT=0x0602)
  # Everything the binaries need comes from system DLLs: the C++ runtime, libgcc and
  # winpthread are linked in.
  target_link_options(volm_options INTERFACE -static -static-libgcc -static-libstdc++)
endif()

if(VOLM_SANITIZE)
  list(JOIN VOLM_SANITIZE "," volm_sanitizers)
  target_compile_options(volm_options INTERFACE -fsanitize=${volm_sanitizers} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
  target_link_options(volm_options INTERFACE -fsanitize=${volm_sanitizers})
endif()

if(CMAKE_CROSSCOMPILING AND WIN32)
  # Windows test programs run under Wine with a prefix private to this build tree.
  configure_file(${PROJECT_SOURCE_DIR}/cmake/wine-run.sh ${PROJECT_BINARY_DIR}/wine-run-impl.sh COPYONLY)
  file(WRITE ${PROJECT_BINARY_DIR}/wine-run.sh
       "#!/bin/sh\nVOLM_WINE_BUILD_DIR='${PROJECT_BINARY_DIR}' exec '${PROJECT_BINARY_DIR}/wine-run-impl.sh' \"$@\"\n")
  file(CHMOD ${PROJECT_BINARY_DIR}/wine-run.sh PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
       GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_BINARY_DIR}/wine-run.sh)
endif()
