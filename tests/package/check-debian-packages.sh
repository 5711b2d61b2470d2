#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the layout of the Debian packages that scripts/package.sh built: what each package
# holds, the library's SONAME link and ldconfig trigger, stripped binaries with their debug
# information in -dbgsym packages, a man page for every subcommand the tool lists, and no
# file in two packages.
# usage: check-debian-packages.sh PACKAGE_DIR VERSION
set -euo pipefail
dir=$1
version=$2
arch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
work=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-debs.XXXXXX")
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

for package in libvolmtime0 libvolmtime-dev volmtime-tools python3-volmtime; do
  deb=$dir/${package}_${version}_$(dpkg --print-architecture).deb
  [ -f "$deb" ] || { fail "$deb is missing"; continue; }
  dpkg-deb -x "$deb" "$work/$package"
  dpkg-deb -e "$deb" "$work/$package/DEBIAN"
  (cd "$work/$package" && find . ! -type d ! -path './DEBIAN/*' | sed 's|^\./||' | sort) \
    >"$work/$package.files"
  [ -f "$work/$package/usr/share/doc/$package/copyright" ] || fail "$package has no copyright file"
done

has() {
  grep -qx -- "$2" "$work/$1.files" || fail "$1 lacks $2"
}
has libvolmtime0 "usr/lib/$arch/libVolmTime.so.$version"
has libvolmtime0 "usr/lib/$arch/libVolmTime.so.${version%%.*}"
grep -qs '^activate-noawait ldconfig$' "$work/libvolmtime0/DEBIAN/triggers" ||
  fail "libvolmtime0 has no ldconfig trigger"
soname=$(objdump -p "$work/libvolmtime0/usr/lib/$arch/libVolmTime.so.$version" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = "libVolmTime.so.${version%%.*}" ] || fail "SONAME is '$soname'"
has libvolmtime-dev "usr/lib/$arch/libVolmTime.so"
has libvolmtime-dev "usr/include/VolmTime/VolmTime.h"
has libvolmtime-dev "usr/lib/$arch/cmake/VolmTime/VolmTimeConfig.cmake"
has libvolmtime-dev "usr/lib/$arch/pkgconfig/VolmTime.pc"
has volmtime-tools "usr/bin/volmtime"
has python3-volmtime "usr/lib/python3/dist-packages/volmtime.pyi"
grep -q '^usr/lib/python3/dist-packages/volmtime\.cpython-.*\.so$' "$work/python3-volmtime.files" ||
  fail "python3-volmtime lacks the module"

# A man page for the tool and for each subcommand its help lists.
tool_help=$("$work/volmtime-tools/usr/bin/volmtime" --help)
for sub in "" $(awk '/^Subcommands:/ {inside = 1; next} inside && NF == 0 {exit} inside {print "-" $1}' <<<"$tool_help"); do
  has volmtime-tools "usr/share/man/man1/volmtime$sub.1.gz"
done

# Stripped, with the debug information in the -dbgsym package of the same name.
for package in libvolmtime0 volmtime-tools python3-volmtime; do
  while IFS= read -r file; do
    if file -L "$work/$package/$file" | grep -q 'ELF.*not stripped'; then fail "$file is not stripped"; fi
  done < <(grep -E '(^usr/bin/|\.so)' "$work/$package.files")
  [ -f "$dir/$package-dbgsym_${version}_$(dpkg --print-architecture).deb" ] ||
    [ -f "$dir/$package-dbgsym_${version}_$(dpkg --print-architecture).ddeb" ] ||
    fail "$package has no -dbgsym package"
done

duplicates=$(cat "$work"/*.files | grep -v '^usr/share/doc/' | sort | uniq -d)
[ -z "$duplicates" ] || fail "in more than one package: $duplicates"

if [ "$failures" -gt 0 ]; then
  echo "$failures layout checks failed"
  exit 1
fi
echo "Debian package layout: all checks passed"
