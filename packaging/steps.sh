# SPDX-License-Identifier: MIT
# Sourced by ./check, ./quickstart and what they call: how a step is announced, timed and counted.
# shellcheck shell=bash

# What configures without a preset uses the same generator.
export CMAKE_GENERATOR=Ninja

# Builds go through ccache where it is there; nothing needs it.
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

cores() { nproc; }

# as_root COMMAND…: also where sudo is needed for it.
as_root() {
  if [[ "$(id -u)" == 0 ]]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "run this as root, or install sudo; needed: $*" >&2
    return 1
  fi
}

headline() { printf '\n=== %s\n' "$*"; }

steps_passed=0
steps_failed=0

# run_step NAME COMMAND…: announces and times COMMAND, and goes on after a failure, which it counts.
# COMMAND runs in a shell of its own with errexit on; no condition may surround the call, since that
# would switch errexit off.
run_step() {
  local name=$1 status
  shift
  headline "$name"
  SECONDS=0
  set +e
  (
    set -e
    "$@"
  )
  status=$?
  set -e
  if ((status == 0)); then
    steps_passed=$((steps_passed + 1))
    printf -- '--- %s: passed in %d s\n' "$name" "$SECONDS"
  else
    steps_failed=$((steps_failed + 1))
    printf -- '--- %s: FAILED with status %d after %d s\n' "$name" "$status" "$SECONDS"
  fi
}
