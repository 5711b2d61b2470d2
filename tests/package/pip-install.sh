#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# `pip install --no-build-isolation .` of a copy of the source tree into a fresh virtual
# environment of PYTHON (with the system's site packages, where Debian's setuptools and wheel
# are), then the module imported from outside the tree: it must load the library copy that
# its wheel carries.
# usage: pip-install.sh SOURCE_DIR PYTHON
set -euo pipefail
source_dir=$1
python=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/volmtime-pip.XXXXXX")
trap 'rm -rf "$work"' EXIT
# A copy without any build folder, so the wheel builds from the sources alone.
mkdir "$work/source"
tar -C "$source_dir" --exclude=./build --exclude=./.git -cf - . | tar -C "$work/source" -xf -
"$python" -m venv --system-site-packages "$work/venv"
(cd "$work/source" && "$work/venv/bin/python" -m pip install --no-build-isolation --no-index \
  --quiet . >"$work/pip.log" 2>&1) || { tail -n 40 "$work/pip.log"; exit 1; }

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
