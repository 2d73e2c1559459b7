# SPDX-License-Identifier: MIT
# Sourced by the tests beside it, called with SOURCE BUILD WORK; CMAKE, CXX and LIBDIR are set.
# shellcheck shell=bash
source=$1
build=$2
work=$3
prefix=$work/moved

install_into_moved_prefix() {
  rm -rf "$work"
  "$CMAKE" --install "$build" --prefix "$work/installed"
  mv "$work/installed" "$prefix"
}

# compile_with_pkg_config SOURCE_FILE PROGRAM
compile_with_pkg_config() {
  local flags
  read -ra flags <<<"$(PKG_CONFIG_PATH="$prefix/$LIBDIR/pkgconfig" pkg-config --cflags --libs quillmark)"
  "$CXX" -std=c++20 "$1" "${flags[@]}" -Wl,-rpath,"$prefix/$LIBDIR" -o "$2"
}

expect_minimal_host_runs() {
  diff -u - <("$1") <<'END'
seed 11223344
download complete
END
}
