#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Writes the volmtime tool's man pages from its own --help texts with help2man: volmtime.1,
# and volmtime-SUB.1 for every subcommand that `volmtime --help` lists.
# usage: make-manpages.sh VOLMTIME OUTPUT_DIR VERSION
set -euo pipefail
tool=$1
out=$2
version=$3

work=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-man.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
help=$("$tool" --help)
# "volmtime: what it does" is the help's first line.
summary=${help%%$'\n'*}
summary=${summary#volmtime: }
# The "Subcommands:" block: one "  name   summary" line each, up to the next blank line.
subcommands=$(awk '/^Subcommands:/ {inside = 1; next} inside && NF == 0 {exit}
                   inside {print $1}' <<<"$help")
[ -n "$subcommands" ] || { echo "make-manpages: $tool --help lists no subcommands" >&2; exit 1; }

see_also=""
for sub in $subcommands; do
  sub_summary=$(awk -v name="$sub" '/^Subcommands:/ {inside = 1; next}
                inside && $1 == name {$1 = ""; sub(/^ +/, ""); print; exit}' <<<"$help")
  # help2man names a page after the program it runs: a stand-in named volmtime-SUB.
  printf '#!/bin/sh\nexec "%s" %s "$@"\n' "$tool" "$sub" >"$work/volmtime-$sub"
  chmod +x "$work/volmtime-$sub"
  printf '[SEE ALSO]\n.BR volmtime (1)\n' >"$work/$sub.h2m"
  help2man --no-info --no-discard-stderr --version-string="$version" --name="$sub_summary" \
    --include="$work/$sub.h2m" --output="$out/volmtime-$sub.1" "$work/volmtime-$sub"
  see_also+="${see_also:+,\n}.BR volmtime-$sub (1)"
done
printf '[SEE ALSO]\n%b\n' "$see_also" >"$work/volmtime.h2m"
help2man --no-info --no-discard-stderr --version-string="$version" --name="$summary" \
  --include="$work/volmtime.h2m" --output="$out/volmtime.1" "$tool"
