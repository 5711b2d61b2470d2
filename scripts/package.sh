#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the release into build/packages/:
#   libvolmtime0, libvolmtime-dev, volmtime-tools, python3-volmtime   Debian packages
#   *-dbgsym_*.deb                                                      their debug information
#   VolmTime-VERSION-win64.zip         the Windows DLL, import library, headers and tool, stripped
#   VolmTime-VERSION-win64-debug.zip   the Windows binaries' debug information
# and runs lintian on every Debian package (it stops on a lintian error).
# The version is the one in CMakeLists.txt; debian/changelog is written from it and from its
# section of CHANGELOG.md.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/setup.sh

version=$(sed -n 's/^project(VolmTime VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo "package: no version in CMakeLists.txt" >&2; exit 1; }
out=$root/build/packages
rm -rf "$out"
mkdir -p "$out"
jobs=$(nproc)

# --- Debian packages, built by dpkg-buildpackage from a copy of the tree (it writes its
# results beside the source folder).
stage=$out/debian-build/volmtime-$version
mkdir -p "$stage"
git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' file; do
  [ -e "$file" ] && printf '%s\0' "$file"
done | xargs -0 cp --parents -t "$stage"

# The release's entries of CHANGELOG.md as Debian changelog items, wrapped for 80 columns.
entries=$(awk -v version="$version" '
  /^## / {inside = ($2 == version); next}
  !inside || /^###/ || NF == 0 {if (item != "") print item; item = ""; next}
  /^- / {if (item != "") print item; item = substr($0, 3); next}
  {sub(/^ +/, ""); item = item " " $0}
  END {if (item != "") print item}' CHANGELOG.md)
[ -n "$entries" ] || { echo "package: CHANGELOG.md has no entries for $version" >&2; exit 1; }
date=$(git log -1 --format=%cD 2>/dev/null || date -R)
{
  echo "volmtime ($version) unstable; urgency=medium"
  echo
  while IFS= read -r entry; do
    fold -s -w 72 <<<"$entry" | sed -e 's/ *$//' -e '1s/^/  * /' -e '2,$s/^/    /'
  done <<<"$entries"
  echo
  echo " -- VolmTime developers <volmtime@example.invalid>  $date"
} >"$stage/debian/changelog"

(cd "$stage" && DEB_BUILD_OPTIONS="parallel=$jobs" dpkg-buildpackage -b -us -uc \
  >"$out/debian-build/build.log" 2>&1) ||
  { tail -n 40 "$out/debian-build/build.log"; echo "package: dpkg-buildpackage failed" >&2; exit 1; }
mv "$out"/debian-build/*.deb "$out"/
find "$out/debian-build" -maxdepth 1 -name '*.ddeb' -exec mv -t "$out" {} +

# --- The Windows zip: a build of what is shipped, no tests, packed by CPack (which strips the
# binaries and keeps their debug information apart, cmake/VolmSplitDebug.cmake).
windows=$out/windows-build
cmake -S . -B "$windows" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DVOLMTIME_BUILD_TESTS=OFF -DVOLMTIME_BUILD_BENCHMARKS=OFF -DVOLMTIME_BUILD_EXAMPLES=OFF \
  >"$windows.log" 2>&1 || { cat "$windows.log"; exit 1; }
cmake --build "$windows" -j "$jobs" >>"$windows.log" 2>&1 || { tail -n 40 "$windows.log"; exit 1; }
cpack --config "$windows/CPackConfig.cmake" -B "$out" >>"$windows.log" 2>&1 ||
  { tail -n 40 "$windows.log"; exit 1; }
(cd "$windows/debug" && cmake -E tar cf "$out/VolmTime-$version-win64-debug.zip" --format=zip \
  "VolmTime-$version-win64-debug")
rm -rf "$out/_CPack_Packages"

# --- lintian on every Debian package: its whole report, and a failure on any error. Its
# temporary files go to a folder of this run (lintian leaves some behind).
status=0
lintian_tmp=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-lintian.XXXXXX")
trap 'rm -rf "$lintian_tmp"' EXIT
for deb in "$out"/*.deb; do
  echo "=== lintian $(basename "$deb")"
  TMPDIR=$lintian_tmp lintian --fail-on error "$deb" || status=1
done
echo "=== package layout"
bash tests/package/check-debian-packages.sh "$out" "$version" || status=1
echo "=== build/packages"
(cd "$out" && ls -l -- *.deb *.zip)
exit $status
