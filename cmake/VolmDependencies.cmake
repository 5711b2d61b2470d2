# Boost (header-only parts), GoogleTest, CLI11 and nlohmann-json (the tool's, header-only) and,
# on Linux, Google Benchmark.
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

  # The tool's header-only libraries, the same way: a folder with links to their headers only.
  set(volm_tool_include_dir ${PROJECT_BINARY_DIR}/tool-include)
  file(MAKE_DIRECTORY ${volm_tool_include_dir})
  foreach(header_folder CLI nlohmann)
    if(NOT EXISTS /usr/include/${header_folder})
      message(FATAL_ERROR "/usr/include/${header_folder} is missing: run scripts/setup.sh")
    endif()
    if(NOT EXISTS ${volm_tool_include_dir}/${header_folder})
      file(CREATE_LINK /usr/include/${header_folder} ${volm_tool_include_dir}/${header_folder} SYMBOLIC)
    endif()
  endforeach()
  add_library(volm_cli11 INTERFACE)
  target_include_directories(volm_cli11 SYSTEM INTERFACE ${volm_tool_include_dir})
  add_library(volm_json INTERFACE)
  target_include_directories(volm_json SYSTEM INTERFACE ${volm_tool_include_dir})

  # GoogleTest is built from Debian's sources with the cross compiler.
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
  # Its own CMake files define the GTest:: targets.
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(Boost 1.71 REQUIRED)
  add_library(volm_boost INTERFACE)
  target_link_libraries(volm_boost INTERFACE Boost::boost)
  find_package(GTest REQUIRED)
  find_package(Threads REQUIRED)
  find_package(CLI11 CONFIG REQUIRED)
  find_package(nlohmann_json 3 CONFIG REQUIRED)
  add_library(volm_cli11 INTERFACE)
  target_link_libraries(volm_cli11 INTERFACE CLI11::CLI11)
  add_library(volm_json INTERFACE)
  target_link_libraries(volm_json INTERFACE nlohmann_json::nlohmann_json)
endif()
