# SPDX-License-Identifier: MIT
# Sourced by what needs a fresh machine: a minimal Debian 12 system in a folder, made by mmdebstrap. Needs root.
# shellcheck shell=bash

# The Debian sources that this machine's apt uses, one per line; none if it has not yet read their lists.
# shellcheck disable=SC2016
debian_sources() {
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
    grep -E ' bookworm(-updates|-security)? ' | sort --unique
}

# The proxies and certificates by which this machine's apt reaches them.
apt_connection() {
  apt-config dump --no-empty | grep -iE '^Acquire::https?::' || true
  [[ -z "${http_proxy:-}" ]] || echo "Acquire::http::Proxy \"$http_proxy\";"
  [[ -z "${https_proxy:-}" ]] || echo "Acquire::https::Proxy \"$https_proxy\";"
}

# make_base NAME SOURCES WANTED OPTION…: build/NAME.tar, a system as mmdebstrap leaves it with these options, from
# the Debian sources that match SOURCES. Kept for later runs until WANTED, the packages that it holds, changes: only the
# first run needs the network.
make_base() {
  local base=build/$1.tar sources=$2 wanted=$3 certificates=/etc/ssl/certs/ca-certificates.crt
  local lists=() hooks=()
  shift 3
  if [[ -e "$base" && "$(cat "$base.packages")" == "$wanted" ]]; then
    echo "$base: kept from an earlier run"
    return
  fi
  rm -f "$base"
  mkdir -p build
  apt_connection >"$base.apt"
  debian_sources | grep -E "$sources" >"$base.list" && lists=("$base.list")
  if grep --quiet https: "$base.list"; then
    hooks=(--customize-hook="mkdir -p \"\$1/etc/ssl/certs\"; cp $certificates \"\$1$certificates\"")
  fi
  mmdebstrap --mode=root --variant=minbase --aptopt="$base.apt" "${hooks[@]}" "$@" \
    --format=tar bookworm "$base.part" "${lists[@]}"
  mv "$base.part" "$base"
  printf '%s' "$wanted" >"$base.packages"
}

# make_newcomer_base: with the archives of what README, the pages and the Debian packages have installed. None of
# these packages is installed.
make_newcomer_base() {
  local wanted
  wanted=$(packaging/install-packages --list build python python-can python-wheel packages && echo sudo)
  wanted=${wanted//$'\n'/ }
  make_base minimal-debian . "$wanted" --skip=cleanup/apt \
    --customize-hook="APT_CONFIG=\$MMDEBSTRAP_APT_CONFIG apt-get --yes --quiet --no-install-recommends \
      --download-only -o Dir::Cache::Archives=\"\$1/var/cache/apt/archives\" install $wanted"
}

remove_root() { rm -rf --one-file-system "${1:?}"; }

# unpack_base NAME ROOT
unpack_base() {
  local root=$2
  remove_root "$root"
  mkdir -p "$root"
  tar --extract --numeric-owner --file "build/$1.tar" --directory "$root"
}

# unpack_newcomer_base ROOT: ready to install packages.
unpack_newcomer_base() {
  local root=$1
  unpack_base minimal-debian "$root"
  cp /etc/resolv.conf /etc/hosts "$root/etc"
  # There is no user to answer and no terminal, and recommended packages are not in the base.
  printf '%s\n' 'APT::Get::Assume-Yes "true";' 'APT::Install-Recommends "false";' 'Dpkg::Use-Pty "false";' \
    >"$root/etc/apt/apt.conf.d/nobody-answers"
  # The folder does not outlive the run.
  echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/unsafe-io"
}

# in_root ROOT USER COMMAND…: with the kernel's file systems of processes and terminals that every machine has, and
# nothing else of this one. All processes end with COMMAND.
# shellcheck disable=SC2016
in_root() {
  unshare --mount --pid --fork --kill-child sh -ec '
    root=$1
    user=$2
    shift 2
    mount -t proc proc "$root/proc"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5 devpts "$root/dev/pts"
    exec chroot --userspec="$user" "$root" env -i HOME=/srv USER="$user" LANG=C.UTF-8 \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"' in_root "$@"
}
