#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The volmtime tool end to end on a real publisher: a second publisher is refused and told
# who holds the store, --take-over replaces the holder, and the plot of the store is valid
# XML with labelled axes whose offsets equal an exact recomputation from the samples, and
# the JSON outputs hold no number past 2^53. The longest name a store may have works as
# well, and once the publishers have ended nothing of theirs is left (on Linux: the store,
# its lock file, the tool's own files).
# Usage: publish-and-plot.sh VOLMTIME [EMULATOR]   (the emulator runs Windows builds)
set -euo pipefail
. "$(dirname "$0")/leftovers.sh"
tool=("${@:2}" "$1")
[ -n "${2:-}" ] || tool=("$1")
name="volmtime-plot-test-$$"
# 255 bytes, the most a store's name may have, with bytes that no file name keeps as they are.
long="$name-long-*?:"
long="$long$(printf 'x%.0s' $(seq $((255 - ${#long}))))"
scratch=$(mktemp -d)
first=
trap '[ -z "$first" ] || kill "$first" 2>/dev/null; rm -rf "$scratch"' EXIT

# Starts a publisher of $1, writing to $2, and waits for its first status line: the store
# exists and the lock is held.
start_publisher() {
  "${tool[@]}" publish "$1" --interval-ms 20 --duration-s 60 >"$2" &
  first=$!
  for _ in $(seq 200); do
    grep -q publishing "$2" 2>/dev/null && return 0
    sleep 0.1
  done
  echo "the publisher of $1 did not start"
  exit 1
}

start_publisher "$name" "$scratch/first.txt"
# Enough samples for the plot check below; a busy machine only makes this take longer.
for _ in $(seq 600); do
  "${tool[@]}" inspect "$name" --last 100 --json >"$scratch/count.json" 2>/dev/null &&
    python3 -c 'import json, sys; sys.exit(len(json.load(open(sys.argv[1]))["samples"]) < 20)' \
      "$scratch/count.json" && break
  sleep 0.1
done

set +e
"${tool[@]}" publish "$name" --duration-s 1 >/dev/null 2>"$scratch/refused.txt"
refused=$?
set -e
[ "$refused" -eq 1 ] || { echo "a second publisher was not refused (exit $refused)"; exit 1; }
grep -q "is being published by pid" "$scratch/refused.txt" ||
  { echo "the refusal does not name the holder:"; cat "$scratch/refused.txt"; exit 1; }

# The plot and the samples it shows, read while the publisher runs, and the other JSON
# outputs: none may hold a number that a reader using doubles gets wrong.
"${tool[@]}" inspect "$name" --last 1000000 --json --svg "$scratch/plot.svg" >"$scratch/store.json"
"${tool[@]}" tracking "$name" --json >"$scratch/tracking.json"
"${tool[@]}" watch "$name" --json --duration-s 0.3 --interval-ms 100 >"$scratch/watch.json"
python3 - "$scratch/store.json" "$scratch/tracking.json" "$scratch/watch.json" <<'PY'
import json, sys
def numbers(value):
    if isinstance(value, dict):
        for item in value.values(): yield from numbers(item)
    elif isinstance(value, list):
        for item in value: yield from numbers(item)
    elif isinstance(value, (int, float)) and not isinstance(value, bool):
        yield value
for path in sys.argv[1:]:
    with open(path) as file:
        documents = [json.loads(line) for line in file] if path.endswith("watch.json") else [json.load(file)]
    for document in documents:
        for number in numbers(document):
            assert abs(number) < 2**53, "%s holds %r" % (path, number)
tracking = json.load(open(sys.argv[2]))
assert tracking["updates"] >= 5 and not tracking["stale"], tracking
PY

"${tool[@]}" publish "$name" --take-over --interval-ms 20 --duration-s 1 >"$scratch/second.txt"
wait "$first"
first=
grep -q "takes over" "$scratch/first.txt" ||
  { echo "the first publisher did not give way:"; cat "$scratch/first.txt"; exit 1; }

# A store of the longest name: published, refused to a second publisher, read.
start_publisher "$long" "$scratch/long.txt"
set +e
"${tool[@]}" publish "$long" --duration-s 1 >/dev/null 2>"$scratch/refused.txt"
refused=$?
set -e
grep -q "is being published by pid" "$scratch/refused.txt" ||
  { echo "a second publisher of a long name was not refused (exit $refused)"; exit 1; }
"${tool[@]}" inspect "$long" --last 1 >/dev/null
"${tool[@]}" publish "$long" --take-over --interval-ms 20 --duration-s 0.2 >/dev/null
wait "$first"
first=

# Both publishers have ended, and so has everything of theirs.
[ -n "${2:-}" ] || expect_nothing_left "$name" "after the publishers"

xmllint --noout "$scratch/plot.svg"
python3 - "$scratch/plot.svg" "$scratch/store.json" <<'PY'
import json, sys
import xml.etree.ElementTree as ET
from fractions import Fraction

svg = ET.parse(sys.argv[1]).getroot()
ns = "{http://www.w3.org/2000/svg}"
texts = [t.text or "" for t in svg.iter(ns + "text")]
for label in ("time before now (s)", "(µs)", "(ppm)"):
    assert any(label in t for t in texts), "no axis title with " + label
assert sum(1 for t in texts if t.strip().lstrip("-").replace(".", "").isdigit()) >= 8, "too few tick labels"

samples = json.load(open(sys.argv[2]))["samples"]
assert len(samples) >= 20, "only %d samples" % len(samples)
first, last = samples[0], samples[-1]
for sample in samples:
    sample["tick"], sample["time"] = int(sample["tick"]), int(sample["time_100ns"])
slope = Fraction(last["time"] - first["time"], last["tick"] - first["tick"])
lines = svg.find(ns + "metadata").text.strip().splitlines()[1:]
assert len(lines) == len(samples), (len(lines), len(samples))
for line in lines:
    index, _, offset_us, _ = line.split(",")
    sample = samples[int(index)]
    exact = (sample["time"] - first["time"]) - (sample["tick"] - first["tick"]) * slope
    assert abs(float(offset_us) - float(exact) / 10) < 1e-6, (line, float(exact) / 10)
print("plot of %d samples: valid, labelled, offsets exact" % len(samples))
PY
