#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks what the built library shows the world: exactly CreateInstance, Attach, Detach and
# CanDllUnload, and for the DLL no dependency beyond the system's own DLLs.
set -euo pipefail
library=$1
objdump=$2
expected=$'Attach\nCanDllUnload\nCreateInstance\nDetach'

case "$library" in
  *.dll)
    exports=$("$objdump" -p "$library" |
      awk '/\[Ordinal\/Name Pointer\] Table/{table=1; next} table && /^[ \t]*\[/{print $NF; next} table{table=0}' |
      sort)
    imports=$("$objdump" -p "$library" | awk '/DLL Name:/{print tolower($3)}' | sort -u)
    allowed='^(kernel32|msvcrt|ntdll|advapi32|user32|ws2_32|bcrypt|api-ms-win-.*)\.dll$'
    unexpected=$(grep -Ev "$allowed" <<<"$imports" || true)
    if [ -n "$unexpected" ]; then
      echo "The DLL depends on non-system DLLs:"; echo "$unexpected"; exit 1
    fi
    ;;
  *)
    exports=$(nm -D --defined-only "$library" | awk '$2 ~ /^[TtWwDdBbRrVv]$/ {print $3}' |
      grep -v '^_' | sort)
    ;;
esac

if [ "$exports" != "$expected" ]; then
  echo "Exported symbols differ from the four entry points:"
  diff <(echo "$expected") <(echo "$exports") || true
  exit 1
fi
echo "exports: $(echo $exports)"
