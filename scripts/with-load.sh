#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a command while eight processes per processor spin beside it at the normal priority,
# and exits with the command's status. A suite that passes here does not depend on the
# scheduler being quick. The spinners end with this script however it ends: on its exit or
# a signal through the trap, and on SIGKILL because each one watches for this script.
#   bash scripts/with-load.sh ctest --preset linux
set -uo pipefail
[ $# -gt 0 ] || { echo "usage: with-load.sh COMMAND [ARGUMENT...]" >&2; exit 2; }

count=$((8 * $(nproc)))
watched=$$
spinners=()
stop_spinners() {
  [ ${#spinners[@]} -eq 0 ] || kill "${spinners[@]}" 2>/dev/null
  spinners=()
}
trap stop_spinners EXIT
trap 'stop_spinners; exit 130' INT
trap 'stop_spinners; exit 143' TERM
trap 'stop_spinners; exit 129' HUP

for ((i = 0; i < count; i++)); do
  # Busy in user space; every few hundred milliseconds it looks whether this script is gone.
  bash -c 'while [ -e /proc/'"$watched"' ]; do for ((n = 0; n < 200000; n++)); do :; done; done' \
    </dev/null >/dev/null 2>&1 &
  spinners+=($!)
done
echo "with-load: $count spinning processes beside: $*"
"$@"
status=$?
stop_spinners
exit "$status"
