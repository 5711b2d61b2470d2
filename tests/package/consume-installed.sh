#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs a build into a temporary prefix (a Windows build: unpacks its zip package there)
# and builds the examples against it as a project outside the tree does: find_package with
# both targets at the compiler's default language standard and, for a native build,
# pkg-config. Runs what it built and the installed volmtime.
# usage: consume-installed.sh SOURCE_DIR BUILD_DIR VERSION [TOOLCHAIN_FILE BOOST_INCLUDE_DIR RUNNER]
set -euo pipefail
source_dir=$1
build_dir=$2
version=$3
toolchain=${4:-}
boost_include=${5:-}
runner=${6:-}

work=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-consumer.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
if [ -z "$toolchain" ]; then
  cmake --install "$build_dir" --prefix "$prefix" >/dev/null
else
  # The Windows package's zip, unpacked.
  cpack --config "$build_dir/CPackConfig.cmake" -B "$work/package" >/dev/null
  mkdir "$prefix"
  (cd "$prefix" && cmake -E tar xf "$work/package/VolmTime-$version-win64.zip")
  prefix=$prefix/VolmTime-$version-win64
  # Shipped stripped: the debug information is kept apart.
  for binary in "$prefix"/bin/*.exe "$prefix"/bin/*.dll; do
    if x86_64-w64-mingw32-objdump -h "$binary" | grep -q '\.debug_info'; then
      echo "$(basename "$binary") in the zip is not stripped"
      exit 1
    fi
  done
fi

configure=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix")
suffix=
if [ -n "$toolchain" ]; then
  # A cross build searches packages only below its target root; point it at the package.
  config_dir=$(dirname "$(find "$prefix" -name VolmTimeConfig.cmake)")
  configure+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DVolmTime_DIR="$config_dir"
              -DBoost_INCLUDE_DIR="$boost_include")
  suffix=.exe
fi
# Every installed header, through the target that hosts use, in a project that sets no
# language standard.
mkdir "$work/headers"
cat >"$work/headers/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.25)
project(VolmTimeHeaders LANGUAGES CXX)
find_package(VolmTime ${version%.*} REQUIRED)
add_library(all_headers OBJECT all_headers.cpp)
target_link_libraries(all_headers PRIVATE VolmTime::Headers)
EOF
for header in "$prefix"/include/VolmTime/*.h; do
  echo "#include <VolmTime/$(basename "$header")>"
done >"$work/headers/all_headers.cpp"
for project in examples headers; do
  source=$source_dir/examples
  [ "$project" = examples ] || source=$work/headers
  cmake -S "$source" -B "$work/build-$project" "${configure[@]}" >"$work/configure.log" 2>&1 ||
    { cat "$work/configure.log"; exit 1; }
  cmake --build "$work/build-$project" -j 2 >"$work/build.log" 2>&1 || { cat "$work/build.log"; exit 1; }
done

run() {
  echo "--- $(basename "$1") ${*:2}"
  $runner "$@" | tee "$work/output"
}
run "$work/build-examples/read_clock$suffix"
if [ -z "$toolchain" ]; then
  # Nothing beside the program: the library must come from the installed package.
  grep -q "^library *$prefix/" "$work/output" || { echo "not loaded from $prefix"; exit 1; }
fi
run "$work/build-examples/read_named_clock$suffix"
run "$work/build-examples/timer_and_host_event$suffix"
run "$work/build-examples/linked_clock$suffix"
run "$prefix/bin/volmtime$suffix" now

if [ -z "$toolchain" ]; then
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name VolmTime.pc)")
  [ "$(pkg-config --modversion VolmTime)" = "$version" ] || { echo "pkg-config version differs"; exit 1; }
  [ -f "$(pkg-config --variable=libraryfile VolmTime)" ] || { echo "libraryfile missing"; exit 1; }
  libdir=$(pkg-config --variable=libdir VolmTime)
  # shellcheck disable=SC2046
  c++ -std=c++20 -o "$work/linked_clock_pc" "$source_dir/examples/LinkedClock.cpp" \
    $(pkg-config --cflags --libs VolmTime) -Wl,-rpath,"$libdir"
  run "$work/linked_clock_pc"
fi
echo "consumers built against $prefix ran"
