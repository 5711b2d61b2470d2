#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what a fresh Debian 12 machine lacks for building and testing VolmTime.
# Safe to run again: it installs only what is missing and says nothing when all is there.
set -euo pipefail

packages=(
  cmake ninja-build g++ python3 pkg-config dpkg-dev
  libboost-dev libgtest-dev libgmock-dev googletest libbenchmark-dev libabsl-dev
  libcli11-dev nlohmann-json3-dev libxml2-utils
  pybind11-dev python3-dev python3-pytest python3-mypy
  python3-venv python3-pip python3-setuptools python3-wheel
  debhelper dh-python help2man lintian file
  g++-mingw-w64-x86-64-posix wine64 wine
  clang libfuzzer-14-dev libclang-rt-14-dev
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
