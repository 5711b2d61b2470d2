#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs a build into a temporary prefix (a Windows build: unpacks its zip package there)
# and builds the examples against it as a project outside the tree does: find_package with
# both targets and, for a native build, pkg-config. Runs what it built and the installed
# volmtime.
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
fi

configure=(cmake -S "$source_dir/examples" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release
           -DCMAKE_PREFIX_PATH="$prefix")
suffix=
if [ -n "$toolchain" ]; then
  # A cross build searches packages only below its target root; point it at the package.
  config_dir=$(dirname "$(find "$prefix" -name VolmTimeConfig.cmake)")
  configure+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DVolmTime_DIR="$config_dir"
              -DBoost_INCLUDE_DIR="$boost_include")
  suffix=.exe
fi
"${configure[@]}" >"$work/configure.log" 2>&1 || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" -j 2 >"$work/build.log" 2>&1 || { cat "$work/build.log"; exit 1; }

run() {
  echo "--- $(basename "$1") ${*:2}"
  $runner "$@" | tee "$work/output"
}
run "$work/build/read_clock$suffix"
if [ -z "$toolchain" ]; then
  # Nothing beside the program: the library must come from the installed package.
  grep -q "^library *$prefix/" "$work/output" || { echo "not loaded from $prefix"; exit 1; }
fi
run "$work/build/read_named_clock$suffix"
run "$work/build/timer_and_host_event$suffix"
run "$work/build/linked_clock$suffix"
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
