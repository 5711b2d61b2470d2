#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# `pip install --no-build-isolation` of the source tree into a fresh virtual environment of
# PYTHON (with the system's site packages, where Debian's setuptools and wheel are), then the
# module imported from outside the tree: it must load the library copy that its wheel carries.
# The wheel's CMake build is kept in BUILD_DIR, so a second run compiles only what changed;
# setuptools' folders start empty every time, so the wheel holds only what this run put there.
# usage: pip-install.sh SOURCE_DIR PYTHON BUILD_DIR
set -euo pipefail
source_dir=$1
python=$2
export VOLMTIME_WHEEL_BUILD_DIR=$3
rm -rf "$VOLMTIME_WHEEL_BUILD_DIR/setuptools"
mkdir -p "$VOLMTIME_WHEEL_BUILD_DIR/setuptools"

work=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-pip.XXXXXX")
trap 'rm -rf "$work"' EXIT
"$python" -m venv --system-site-packages "$work/venv"
"$work/venv/bin/python" -m pip install --no-build-isolation --no-index --quiet \
  "$source_dir" >"$work/pip.log" 2>&1 || { tail -n 40 "$work/pip.log"; exit 1; }

cd "$work"
env -u PYTHONPATH -u VOLMTIME_LIBRARY "$work/venv/bin/python" - <<'PYTHON'
import os
import sys

import volmtime

site = os.path.dirname(volmtime.__file__)
assert site.startswith(sys.prefix), f"imported from {site}, not the environment {sys.prefix}"
with volmtime.open() as base, base.system_clock() as clock:
    assert base.library == os.path.join(site, "volmtime.libs", "libVolmTime.so.0"), base.library
    print(f"volmtime {volmtime.__version__} from {site}: {clock.datetime()}")
PYTHON
