# SPDX-License-Identifier: MIT
# Finds what the Python module needs and sets VOLMTIME_BUILD_PYTHON. The interpreter is
# Debian's /usr/bin/python3 where it exists, whatever else is first on PATH, because Debian's
# pybind11 and pytest are installed for it; -DPython3_EXECUTABLE=... picks another.
# The Windows cross build has no Python to build for.
set(volm_python_default OFF)
if(NOT WIN32 AND PROJECT_IS_TOP_LEVEL)
  if(EXISTS /usr/bin/python3)
    set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python interpreter to build for")
  endif()
  find_package(Python3 COMPONENTS Interpreter Development.Module QUIET)
  if(Python3_FOUND)
    find_package(pybind11 2.6 CONFIG QUIET)
  endif()
  if(Python3_FOUND AND pybind11_FOUND)
    set(volm_python_default ON)
  else()
    message(STATUS "VolmTime: no Python module (needs python3-dev and pybind11-dev)")
  endif()
endif()
option(VOLMTIME_BUILD_PYTHON "Build the volmtime Python module (needs pybind11 and Python headers)"
       ${volm_python_default})
if(VOLMTIME_BUILD_PYTHON AND NOT (Python3_FOUND AND pybind11_FOUND))
  message(FATAL_ERROR "VOLMTIME_BUILD_PYTHON needs Python 3 with its headers and pybind11")
endif()
