#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The main job end to end: `volmtime demo` reaches a passing verdict, and on Linux nothing of
# it is left behind: no store, no lock file, no file of the tool's. (Windows under Wine keeps
# its names in the kernel and its files in Wine's own folders.)
# Usage: demo-leaves-nothing.sh VOLMTIME [EMULATOR]   (the emulator runs Windows builds)
set -euo pipefail
. "$(dirname "$0")/leftovers.sh"
tool=("${@:2}" "$1")
[ -n "${2:-}" ] || tool=("$1")
set +e
output=$("${tool[@]}" demo --seconds 1)
status=$?
set -e
echo "$output"
[ "$status" -eq 0 ] && grep -q "verdict: PASS" <<<"$output" ||
  { echo "the demo did not pass (exit $status)"; exit 1; }
if [ -z "${2:-}" ]; then
  name=$(sed -n 's/.*share "\([^"]*\)".*/\1/p' <<<"$output")
  [ -n "$name" ] || { echo "the demo did not name its store"; exit 1; }
  expect_nothing_left "$name" "a passing demo"
fi
