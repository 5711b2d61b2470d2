# SPDX-License-Identifier: MIT
# Install rules: the library, its public headers, CMake package files (VolmTime::Headers,
# VolmTime::VolmTime), a pkg-config file and the volmtime tool.
include(CMakePackageConfigHelpers)

set(volm_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VolmTime)
# Where the library lies once installed, for hosts that load it at run time: beside the
# programs on Windows, in the library folder elsewhere.
if(WIN32)
  set(volm_runtime_dir ${CMAKE_INSTALL_BINDIR})
  set(volm_runtime_name VolmTime.dll)
else()
  set(volm_runtime_dir ${CMAKE_INSTALL_LIBDIR})
  set(volm_runtime_name ${CMAKE_SHARED_LIBRARY_PREFIX}VolmTime${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION_MAJOR})
endif()

install(TARGETS VolmTime VolmTimeHeaders
        EXPORT VolmTimeTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT VolmTimeTargets NAMESPACE VolmTime:: DESTINATION ${volm_cmake_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VolmTimeConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/VolmTimeConfig.cmake
                              INSTALL_DESTINATION ${volm_cmake_dir}
                              PATH_VARS volm_runtime_dir)
# Before 1.0 a new minor version may change the interfaces.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VolmTimeConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VolmTimeConfig.cmake
              ${PROJECT_BINARY_DIR}/VolmTimeConfigVersion.cmake
        DESTINATION ${volm_cmake_dir})

# The .pc file finds its prefix from its own folder, so the package can be moved.
set(volm_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH volm_pc_to_prefix /${volm_pc_dir} /)
string(REGEX REPLACE "/$" "" volm_pc_to_prefix "${volm_pc_to_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/VolmTime.pc.in ${PROJECT_BINARY_DIR}/VolmTime.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/VolmTime.pc DESTINATION ${volm_pc_dir})

if(TARGET volmtime)
  install(TARGETS volmtime RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

if(TARGET volmtime_python)
  # The Python module and its stubs where Debian's python3 looks: lib/python3/dist-packages
  # below /usr (the Debian package, `--prefix /usr`), lib/python3.X/dist-packages below any
  # other prefix (/usr/local is on Debian's path; elsewhere add the folder to PYTHONPATH).
  # Chosen at install time, since cpack installs below /usr whatever the configured prefix.
  install(CODE "
    if(CMAKE_INSTALL_PREFIX MATCHES \"/usr/?$\")
      set(volm_python_dir \"\${CMAKE_INSTALL_PREFIX}/lib/python3/dist-packages\")
    else()
      set(volm_python_dir \"\${CMAKE_INSTALL_PREFIX}/lib/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/dist-packages\")
    endif()
    file(INSTALL \"$<TARGET_FILE:volmtime_python>\" \"${PROJECT_SOURCE_DIR}/python/volmtime.pyi\"
         DESTINATION \"\${volm_python_dir}\")")
endif()

include(${PROJECT_SOURCE_DIR}/cmake/VolmManPages.cmake)
