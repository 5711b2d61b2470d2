#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Another account can neither stop, block nor redirect a publisher. It cannot reach the
# folder where the publisher keeps its lock, holder note and take-over request, and what it
# leaves in the shared temp folder beforehand (a held lock file, a take-over request, a
# holder note that is a link to a file of the publisher's account, the names those files had
# once) changes nothing. Its own `volmtime publish --take-over` of the name is refused and
# stops nothing, while it still reads the store. A folder for the tool's files that another
# account made is never used. Needs root to act as another account (nobody); exits 77,
# skipped, otherwise.
# Usage: other-accounts.sh VOLMTIME
set -euo pipefail
. "$(dirname "$0")/leftovers.sh"
[ "$(id -u)" -eq 0 ] || { echo "needs root to act as another account"; exit 77; }
tool=$1
name="volmtime-accounts-$$"
temp=${TMPDIR:-/tmp}
scratch=$(mktemp -d "$temp/volmtime-test.XXXXXX")
chmod 755 "$scratch"
earlier="$temp/volmtime-publish-$name"
spare=65533  # an account nothing else uses
squatted="$temp/volmtime-$spare"
publisher=
holder_of_lock=
clean_up() {
  [ "$BASHPID" = "$$" ] || return 0
  for p in $publisher $holder_of_lock; do kill -9 "$p" 2>/dev/null || true; done
  sleep 0.1
  # What the processes killed here left (only after a failure) goes too.
  remove_left_behind "$name"
  rm -rf "$scratch" "$earlier".* "$squatted"
}
trap clean_up EXIT
as() { setpriv --reuid="$1" --regid="$1" --clear-groups "${@:2}"; }

# Before the publisher starts: a lock file that another account holds, a request to stop,
# and a holder note that is a link to a file of the publisher's account.
victim="$scratch/victim"
echo "a file of the publisher's account" >"$victim"
chmod 644 "$victim"
as 65534 touch "$earlier.lock" "$earlier.take-over"
as 65534 ln -s "$victim" "$earlier.holder"
# Both kinds of lock, record and whole-file, as a lock file may be locked either way.
# (setpriv itself, not the function: it becomes the process whose id $! holds.)
setpriv --reuid=65534 --regid=65534 --clear-groups /usr/bin/python3 -c 'import fcntl, sys, time
lock = open(sys.argv[1], "a")
fcntl.lockf(lock, fcntl.LOCK_EX)
fcntl.flock(lock, fcntl.LOCK_EX)
print("locked", flush=True)
time.sleep(300)' "$earlier.lock" >"$scratch/locked.txt" &
holder_of_lock=$!
for _ in $(seq 1200); do
  grep -q locked "$scratch/locked.txt" && break
  sleep 0.05
done
grep -q locked "$scratch/locked.txt" || { echo "the other account could not lock $earlier.lock"; exit 1; }

"$tool" publish "$name" --interval-ms 20 --duration-s 120 >"$scratch/publisher.txt" 2>&1 &
publisher=$!
for _ in $(seq 1200); do
  grep -q "updates 2 " "$scratch/publisher.txt" 2>/dev/null && break
  kill -0 "$publisher" 2>/dev/null || break
  sleep 0.05
done
grep -q "updates 2 " "$scratch/publisher.txt" ||
  { echo "the publisher did not start:"; cat "$scratch/publisher.txt"; exit 1; }

# Where the publisher keeps its files: the other account can put nothing there.
lock=$(find "$temp" ${XDG_RUNTIME_DIR:-} -maxdepth 2 -name "publish-$name.lock" 2>/dev/null | head -1)
[ -n "$lock" ] || { echo "no lock file of the publisher's found"; exit 1; }
folder=$(dirname "$lock")
[ "$(stat -c '%u %a' "$folder")" = "0 700" ] ||
  { echo "$folder is not the account's own: $(stat -c '%U %a' "$folder")"; exit 1; }
for attempt in "touch $folder/publish-$name.take-over" "ln -s $victim $folder/publish-$name.note"; do
  if as 65534 $attempt 2>/dev/null; then echo "another account could: $attempt"; exit 1; fi
done

# The other account's own publisher of the name: refused, while its reader reads the store.
set +e
as 65534 "$tool" publish "$name" --take-over --duration-s 1 >"$scratch/theirs.txt" 2>&1
theirs=$?
set -e
[ "$theirs" -eq 1 ] && grep -q "belongs to the account root" "$scratch/theirs.txt" ||
  { echo "another account's publisher was not refused (exit $theirs):"; cat "$scratch/theirs.txt"; exit 1; }
as 65534 "$tool" inspect "$name" --last 1 >/dev/null

# The publisher goes on: twenty more updates after all that, whatever the machine's pace.
seen=$(grep -c "updates" "$scratch/publisher.txt")
for _ in $(seq 1200); do
  [ "$(grep -c "updates" "$scratch/publisher.txt")" -ge $((seen + 20)) ] && break
  kill -0 "$publisher" 2>/dev/null || break
  sleep 0.05
done
[ "$(grep -c "updates" "$scratch/publisher.txt")" -ge $((seen + 20)) ] ||
  { echo "the publisher stopped:"; tail -3 "$scratch/publisher.txt"; exit 1; }
grep -q "takes over" "$scratch/publisher.txt" && { echo "the publisher was stopped"; exit 1; }
[ "$(cat "$victim")" = "a file of the publisher's account" ] ||
  { echo "the publisher wrote through another account's link"; exit 1; }
kill -s TERM "$publisher"
wait "$publisher"
publisher=
kill "$holder_of_lock"
wait "$holder_of_lock" || true
holder_of_lock=
rm -f "$earlier".*
expect_nothing_left "$name" "the publisher and the other account's"

# A folder for the tool's files that another account made first is not used.
as 65534 mkdir -m 777 "$squatted"
set +e
as "$spare" env -u XDG_RUNTIME_DIR "$tool" publish "$name-spare" --duration-s 1 \
  >"$scratch/spare.txt" 2>&1
refused=$?
set -e
[ "$refused" -eq 1 ] && grep -q "$squatted for volmtime's own files belongs to the account nobody" \
  "$scratch/spare.txt" ||
  { echo "a folder of another account's was not refused (exit $refused):"; cat "$scratch/spare.txt"; exit 1; }
[ -z "$(ls -A "$squatted")" ] || { echo "files were put in another account's folder"; exit 1; }
[ ! -e "/dev/shm/$name-spare" ] || { echo "a store was made all the same"; exit 1; }
echo "another account neither stopped, blocked nor redirected the publisher"
