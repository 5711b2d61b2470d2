#!/usr/bin/env bash
# Installs what is missing, then builds and tests every preset: linux, linux-asan,
# linux-tsan and windows (under Wine). Stops at the first preset that fails.
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
printf '%s\n' "${summary[@]}"
