#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# However `publish`, `watch` and `demo` end, nothing of theirs is left: no store, no lock file,
# no file of the tool's. Each is ended by SIGINT, SIGTERM, SIGHUP and SIGPIPE at several
# points of its run (at once, while it starts, while it runs), by a reader that closes the
# pipe (`| head -2`), and a publisher asking to take over is interrupted while it waits.
# Which point a signal meets varies with the machine's load; what is checked holds at every
# point. A report, which kills a publisher of its own, leaves nothing either. Linux only:
# Windows has neither these signals nor /dev/shm.
# Usage: signals-leave-nothing.sh VOLMTIME
set -euo pipefail
tool=$1
. "$(dirname "$0")/leftovers.sh"
tag="volmtime-signals-$$"
scratch=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-test.XXXXXX")
started=()
clean_up() {
  [ "$BASHPID" = "$$" ] || return 0  # not in the subshells of command substitutions
  for p in "${started[@]}"; do kill -9 "$p" 2>/dev/null || true; done
  sleep 0.1
  # What the processes killed here left (only after a failure) goes too.
  remove_left_behind "$tag"
  rm -rf "$scratch"
}
trap clean_up EXIT

# Runs the tool in the background with every signal at its default action, whatever this
# script was started with (a shell starts background jobs ignoring SIGINT, for one).
run_tool() {
  env --default-signal "$tool" "$@" &
  started+=("$!")
}

# Waits for process $1 to end, at most $2 seconds; fails the test if it does not. With a
# signal as $3, sends it again every second meanwhile: one that comes while the shell is
# still starting the program can be lost there, before the program exists.
wait_for_end() {
  for ((i = 0; i < $2 * 20; i++)); do
    kill -0 "$1" 2>/dev/null || { wait "$1" || true; return 0; }
    [ -z "${3:-}" ] || [ $((i % 20)) -ne 19 ] || kill -s "$3" "$1" 2>/dev/null || true
    sleep 0.05
  done
  echo "process $1 did not end within $2 s:"
  ps -o pid,stat,wchan:32,args -p "$1" || true
  grep -E "SigCgt|SigIgn|SigBlk" "/proc/$1/status" 2>/dev/null || true
  exit 1
}

# Waits until file $1 has a line matching $2, at most 60 s.
wait_for_line() {
  for ((i = 0; i < 1200; i++)); do
    grep -q "$2" "$1" 2>/dev/null && return 0
    sleep 0.05
  done
  echo "no line with \"$2\" in $1:"
  cat "$1"
  exit 1
}

# Waits until the store $1 exists, at most 60 s.
wait_for_store() {
  for ((i = 0; i < 1200; i++)); do
    [ -e "/dev/shm/$1" ] && return 0
    sleep 0.05
  done
  echo "no store $1"
  exit 1
}

# Runs `volmtime COMMAND NAME` (publish or watch) and sends it signal $1 at point $2: that
# many seconds after its start, or once it has printed a line with $3 ("started").
signal_at() {
  # Every run writes a file of its own (not named after the store, which is looked for): a
  # line of an earlier run must not count.
  local out="$scratch/$4-$1-$2"
  run_tool "$4" "$5" --interval-ms 20 --duration-s 60 >"$out" 2>&1
  local pid=$!
  if [ "$2" = started ]; then
    wait_for_line "$out" "$3"
    kill -s "$1" "$pid"
    wait_for_end "$pid" 30  # once it runs, one signal ends it
  else
    sleep "$2"
    kill -s "$1" "$pid" 2>/dev/null || true
    wait_for_end "$pid" 30 "$1"
  fi
}

runs=0
for signal in INT TERM HUP PIPE; do
  for point in 0 0.02 0.1 started; do
    name="$tag-publish-$signal-$point"
    signal_at "$signal" "$point" publishing publish "$name"
    expect_nothing_left "$name" "publish, SIG$signal at $point"

    # A watcher of a live store, signalled the same way; then its publisher.
    name="$tag-watch-$signal-$point"
    run_tool publish "$name" --interval-ms 20 --duration-s 60 --quiet
    publisher=$!
    wait_for_store "$name"
    signal_at "$signal" "$point" clock watch "$name"
    kill -s TERM "$publisher"
    wait_for_end "$publisher" 30
    expect_nothing_left "$name" "watch, SIG$signal at $point"
    runs=$((runs + 2))
  done
done

# Readers that go away: the next write meets a closed pipe.
name="$tag-head"
"$tool" publish "$name" --interval-ms 20 --duration-s 60 | head -2 >/dev/null
expect_nothing_left "$name" "publish | head -2"
run_tool publish "$name" --interval-ms 20 --duration-s 60 --quiet
publisher=$!
wait_for_store "$name"
"$tool" watch "$name" --interval-ms 20 --duration-s 60 | head -2 >/dev/null
kill -s TERM "$publisher"
wait_for_end "$publisher" 30
expect_nothing_left "$name" "watch | head -2"

# A publisher waiting to take over, interrupted: its request goes with it, and the holder,
# which looks for requests once an interval, carries on.
name="$tag-take-over"
run_tool publish "$name" --interval-ms 3000 --duration-s 60 >"$scratch/holder" 2>&1
holder=$!
wait_for_line "$scratch/holder" publishing
run_tool publish "$name" --take-over --duration-s 60 >"$scratch/taking" 2>&1
pid=$!
wait_for_line "$scratch/taking" "asking the publisher"
kill -s INT "$pid"
wait_for_end "$pid" 30
wait_for_line "$scratch/holder" "updates 3 "
grep -q "takes over" "$scratch/holder" && { echo "the holder stopped for a withdrawn request"; exit 1; }
kill -s TERM "$holder"
wait_for_end "$holder" 30
expect_nothing_left "$name" "an interrupted take-over"

# A report runs a publisher of its own and kills it: nothing of either is left, whether the
# report runs to its end or is interrupted while it measures.
name="$tag-report"
"$tool" publish "$name" --report --duration-s 1 --holdover-s 1 >/dev/null
expect_nothing_left "$name" "a report"
run_tool publish "$name" --report --duration-s 60 --holdover-s 1 >"$scratch/report" 2>&1
pid=$!
wait_for_line "$scratch/report" measuring
kill -s INT "$pid"
wait_for_end "$pid" 30
expect_nothing_left "$name" "an interrupted report"

# The demo, signalled at several points after it has named its store: it ends its own
# processes and leaves nothing of them. (A signal before that finds nothing made yet.)
for signal in INT TERM HUP; do
  for delay in 0 0.3 1.2; do
    out="$scratch/demo-$signal-$delay"
    run_tool demo --seconds 2 >"$out" 2>&1
    pid=$!
    wait_for_line "$out" 'share "'
    sleep "$delay"
    kill -s "$signal" "$pid"
    wait_for_end "$pid" 60
    demo=$(sed -n 's/.*share "\([^"]*\)".*/\1/p' "$out")
    [ -n "$demo" ] || { echo "the demo named no store:"; cat "$out"; exit 1; }
    expect_nothing_left "$demo" "demo, SIG$signal after $delay s"
    runs=$((runs + 1))
  done
done
echo "$runs signalled runs, two closed pipes, an interrupted take-over and two reports left nothing"
