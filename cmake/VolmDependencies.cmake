# Boost (header-only parts) for the library; GoogleTest only for the tests.
if(CMAKE_CROSSCOMPILING AND WIN32)
  # The cross compiler must not see /usr/include (glibc's headers would be pulled in), so it
  # gets a folder that holds nothing but a link to Debian's Boost headers.
  set(volm_boost_dir ${PROJECT_BINARY_DIR}/boost-include)
  file(MAKE_DIRECTORY ${volm_boost_dir})
  if(NOT EXISTS ${volm_boost_dir}/boost)
    file(CREATE_LINK /usr/include/boost ${volm_boost_dir}/boost SYMBOLIC)
  endif()
  add_library(volm_boost INTERFACE)
  target_include_directories(volm_boost SYSTEM INTERFACE ${volm_boost_dir})

  if(VOLMTIME_BUILD_TESTS)
    # GoogleTest is built from Debian's sources with the cross compiler.
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
    # Its own CMake files define the GTest:: targets.
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  endif()
else()
  find_package(Boost 1.71 REQUIRED)
  add_library(volm_boost INTERFACE)
  target_link_libraries(volm_boost INTERFACE Boost::boost)
  if(VOLMTIME_BUILD_TESTS)
    find_package(GTest REQUIRED)
  endif()
  find_package(Threads REQUIRED)
endif()
