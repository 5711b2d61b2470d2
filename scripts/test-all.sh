#!/usr/bin/env bash
# Installs what is missing, then builds and tests every preset: linux, linux-asan,
# linux-tsan and windows (under Wine), and runs the store reader fuzzer for a short while.
# Stops at the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

presets=(${VOLM_PRESETS:-linux linux-asan linux-tsan windows})
jobs=$(nproc)
summary=()
for preset in "${presets[@]}"; do
  echo "=== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "=== $preset: test"
  ctest --preset "$preset" -j "$jobs"
  summary+=("$preset passed")
done
if [ -z "${VOLM_PRESETS:-}" ]; then
  echo "=== fuzz"
  FUZZ_SECONDS=${FUZZ_SECONDS:-30} bash scripts/fuzz.sh
  summary+=("fuzz passed")
fi
printf '%s\n' "${summary[@]}"
