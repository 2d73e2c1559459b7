# SPDX-License-Identifier: MIT
# Sourced by the tests beside it, called with SOURCE BUILD WORK: an empty folder to work in.
# shellcheck shell=bash
source=$1
build=$2
work=$3
rm -rf "$work"
mkdir -p "$work"

# make_image FILE: an S-record file of what comes from the standard input, at 0x8000.
make_image() {
  cat >"$1.bin"
  objcopy --input-target=binary --output-target=srec --change-addresses 0x8000 "$1.bin" "$1"
}
