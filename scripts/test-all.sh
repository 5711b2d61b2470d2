#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, then builds and tests every preset: linux, linux-asan,
# linux-tsan and windows (under Wine); runs the linux suite a second time while eight
# processes per processor spin beside it (scripts/with-load.sh), and runs the store reader
# fuzzer for a short while. Stops at the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

presets=(${VOLM_PRESETS:-linux linux-asan linux-tsan windows})
jobs=$(nproc)
summary=()
passed=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Runs one preset's suite (through `runner`, if given) and adds its count to the summary.
run_suite() {
  local preset=$1 label=$2
  shift 2
  echo "=== $label: test"
  "$@" ctest --preset "$preset" -j "$jobs" | tee "$log"
  local count
  count=$(sed -n 's/.*tests passed, 0 tests failed out of \([0-9]*\).*/\1/p' "$log" | tail -n 1)
  passed=$((passed + ${count:-0}))
  summary+=("$label passed (${count:-0} tests)")
}

for preset in "${presets[@]}"; do
  echo "=== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  run_suite "$preset" "$preset"
done
# The same tests must pass on a busy machine, as CI machines often are.
if [[ " ${presets[*]} " == *" linux "* ]]; then
  run_suite linux "linux under load" bash scripts/with-load.sh
fi
if [ -z "${VOLM_PRESETS:-}" ]; then
  echo "=== fuzz"
  FUZZ_SECONDS=${FUZZ_SECONDS:-30} bash scripts/fuzz.sh
  summary+=("fuzz passed")
fi
printf '%s\n' "${summary[@]}"
echo "all presets: $passed passed, 0 failed"
