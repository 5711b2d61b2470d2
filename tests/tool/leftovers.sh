# SPDX-License-Identifier: MIT
# Sourced by the tool's end-to-end tests: what is left of a name on Linux. A store lives in
# /dev/shm and its lock file in a folder there; the tool keeps its own files in a private
# folder in $XDG_RUNTIME_DIR or the temp folder, named after the store.

# Prints every file or folder whose name contains $1 in those places; nothing when none is.
left_behind() {
  [ -n "$1" ] || { echo "(no name given)"; return; }
  local places=(/dev/shm "${TMPDIR:-/tmp}")
  [ -z "${XDG_RUNTIME_DIR:-}" ] || places+=("$XDG_RUNTIME_DIR")
  find "${places[@]}" -maxdepth 2 -name "*$1*" 2>/dev/null || true
}

# Fails the test, naming what is left, when something of $1 is.
expect_nothing_left() {
  local left
  left=$(left_behind "$1")
  if [ -n "$left" ]; then
    echo "left behind ($2):"
    echo "$left"
    exit 1
  fi
}

# Removes what is left of $1, and the folders that held it once they are empty: after a
# failure, so that a failed run does not leave its processes' files for later runs.
remove_left_behind() {
  left_behind "$1" | xargs -r rm -rf
  rmdir "/dev/shm/.volmtime-$(id -u)" "${TMPDIR:-/tmp}/volmtime-$(id -u)" \
    ${XDG_RUNTIME_DIR:+"$XDG_RUNTIME_DIR/volmtime"} 2>/dev/null || true
}
