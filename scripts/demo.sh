#!/usr/bin/env bash
# The main job: installs what is missing, builds the library and the volmtime tool, and runs
# `volmtime demo`: a publisher and two watcher processes sharing one time, and a timer on it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target volmtime VolmTime -j "$(nproc)" >/dev/null
exec build/linux/bin/volmtime demo "$@"
