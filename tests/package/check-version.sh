#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks that the built library carries the project's version: the SONAME with the major
# version on Linux, the version resource in the DLL.
# usage: check-version.sh LIBRARY VERSION
set -euo pipefail
library=$1
version=$2
case "$library" in
  *.dll)
    strings=$(strings -el "$library")
    for key in FileVersion ProductVersion; do
      grep -A1 -x "$key" <<<"$strings" | tail -n 1 | grep -qx "$version" ||
        { echo "$key is not $version"; exit 1; }
    done
    ;;
  *)
    soname=$(objdump -p "$library" | awk '$1 == "SONAME" {print $2}')
    [ "$soname" = "libVolmTime.so.${version%%.*}" ] || { echo "SONAME is '$soname'"; exit 1; }
    ;;
esac
echo "version $version"
