#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Hosts look before they trust a timer: the library makes a timer without its descriptors
# when the process has none left, and says so only when asked for the timer's handle. Each
# host runs with ever more descriptors allowed: runs that fail must say why, and where the
# limit leaves the timer without its descriptors, the host must fail with the library's own
# text rather than wait on a timer that cannot fire. Linux only: Windows has no per-process
# limit of this kind to run into.
# Usage: timer-without-handle.sh PROGRAM [ARGUMENTS...]
set -euo pipefail
text="CreateWaitableTimer failed!"
for ((limit = 3; limit <= 64; limit++)); do
  set +e
  output=$(ulimit -n "$limit" && timeout 120 "$@" 2>&1)
  status=$?
  set -e
  if grep -qF "$text" <<<"$output"; then
    [ "$status" -ne 0 ] || { echo "exit 0 after \"$text\" with $limit descriptors"; exit 1; }
    echo "with $limit descriptors: $(grep -F "$text" <<<"$output")"
    exit 0
  fi
  if [ "$status" -eq 0 ]; then
    echo "ran to the end with $limit descriptors without ever meeting a timer without descriptors:"
    echo "$output" | tail -5
    exit 1
  fi
  [ -n "$output" ] || { echo "failed silently (exit $status) with $limit descriptors"; exit 1; }
done
echo "still failing with 64 descriptors:"
echo "$output" | tail -5
exit 1
