# SPDX-License-Identifier: MIT
# Packages built by CPack from the install rules: a Debian package on Linux, a zip on Windows.
#   cpack --preset linux     build/linux/volmtime_0.2.0_amd64.deb
#   cpack --preset windows   build/windows/VolmTime-0.2.0-win64.zip
set(CPACK_PACKAGE_NAME VolmTime)
set(CPACK_PACKAGE_VENDOR VolmTime)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "VolmTime developers <volmtime@example.invalid>")
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_PACKAGE_NAME volmtime)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
      "The shared library, its headers, CMake and pkg-config files, the volmtime tool and the volmtime Python module.")
  if(TARGET volmtime_python)
    # The module is built for one Python version.
    math(EXPR volm_python_next_minor "${Python3_VERSION_MINOR} + 1")
    set(CPACK_DEBIAN_PACKAGE_SUGGESTS
        "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}~), python3 (<< ${Python3_VERSION_MAJOR}.${volm_python_next_minor})")
  endif()
  # Dependencies from the binaries' own needs; shlibs and the ldconfig trigger for the library.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
endif()
include(CPack)
