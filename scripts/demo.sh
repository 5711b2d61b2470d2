#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The main job: installs what is missing, builds the library and the volmtime tool, and runs
# `volmtime demo`: a publisher and two watcher processes sharing one time, and a timer on it.
# Shows the build's progress; an interrupted build or demo ends with a failure.
set -euo pipefail
cd "$(dirname "$0")/.."
trap 'echo "demo: interrupted" >&2; exit 130' INT TERM
bash scripts/setup.sh
echo "demo: configuring (build/linux)"
cmake --preset linux >/dev/null
echo "demo: building the library and volmtime (the first build takes a few minutes)"
# Ninja's progress lines, "[12/80] Building ...", one per step.
cmake --build --preset linux --target volmtime VolmTime -j "$(nproc)" |
  { grep --line-buffered -E '^\[[0-9]+/[0-9]+\]|error|FAILED' | cut -c1-100 || true; }
echo "demo: running volmtime demo $*"
build/linux/bin/volmtime demo "$@"
