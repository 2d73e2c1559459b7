# SPDX-License-Identifier: MIT
# Sourced by ./check, ./quickstart and what they call: how a step is announced, timed and counted.
# shellcheck shell=bash

# What configures without a preset uses the same generator.
export CMAKE_GENERATOR=Ninja

# What the steps start keeps no records among those of the user.
export XDG_STATE_HOME=$PWD/build/state

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

# processor_seconds: what this shell and all that it has waited for have used so far, in processor_used.
processor_seconds() {
  local used
  used=$(mktemp)
  times >"$used"
  processor_used=$(awk -F '[ms ]+' '{ sum += $1 * 60 + $2 + $3 * 60 + $4 } END { printf "%d", sum }' "$used")
  rm "$used"
}

steps_passed=0
steps_failed=0

# run_step NAME COMMAND…: announces and times COMMAND, and goes on after a failure, which it counts. Leaves in
# step_status, step_seconds and step_processor how it ended, how long it took and how much of the processor it used.
# COMMAND runs in a shell of its own with errexit on; no condition may surround the call, since that
# would switch errexit off.
run_step() {
  local name=$1 before
  shift
  headline "$name"
  processor_seconds
  before=$processor_used
  SECONDS=0
  set +e
  (
    set -e
    "$@"
  )
  step_status=$?
  set -e
  step_seconds=$SECONDS
  processor_seconds
  step_processor=$((processor_used - before))
  if ((step_status == 0)); then
    steps_passed=$((steps_passed + 1))
    printf -- '--- %s: passed in %d s\n' "$name" "$step_seconds"
  else
    steps_failed=$((steps_failed + 1))
    printf -- '--- %s: FAILED with status %d after %d s\n' "$name" "$step_status" "$step_seconds"
  fi
}
