#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a Windows test program under Wine with a prefix private to the build tree.
# The prefix is created once, under a lock, so parallel test runs do not race on it.
set -eu
build_dir=${VOLM_WINE_BUILD_DIR:-$PWD}
while [ "$build_dir" != / ] && [ ! -f "$build_dir/CMakeCache.txt" ]; do
  build_dir=$(dirname "$build_dir")
done
[ -f "$build_dir/CMakeCache.txt" ] || build_dir=${TMPDIR:-/tmp}
export WINEPREFIX="$build_dir/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
if [ ! -f "$WINEPREFIX/.volm-ready" ]; then
  mkdir -p "$WINEPREFIX"
  exec 9>"$build_dir/wineprefix.lock"
  flock 9
  if [ ! -f "$WINEPREFIX/.volm-ready" ]; then
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
    touch "$WINEPREFIX/.volm-ready"
  fi
  flock -u 9
fi
exec wine "$@"
