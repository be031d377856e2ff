#!/bin/bash
# What the scripts share: where things lie, what they say, how they get the packages they need.
# To be sourced; leaves the shell in the project's folder.

set -euo pipefail

PROJECT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=${TVL_BUILD_DIR:-$PROJECT/build}
JOBS=${TVL_JOBS:-$(nproc)}
SCRIPT=$(basename "$0")
cd "$PROJECT"

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$SCRIPT" "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    command -v sudo >/dev/null || fail "needs root, or sudo, for: $*"
    sudo "$@"
  fi
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

apt() {
  local log
  log=$(mktemp)
  if ! as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "apt-get $1 failed"
  fi
  rm -f "$log"
}

# Installs those of the named Debian packages that are missing.
need_packages() {
  local package missing=()
  command -v dpkg-query >/dev/null || {
    echo "$SCRIPT: no Debian system; taking it that these are installed: $*" >&2
    return 0
  }
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]}"
  apt update
  apt install --yes --no-install-recommends "${missing[@]}"
}

BUILD_PACKAGES=(g++ cmake ninja-build pkg-config zlib1g-dev libsqlite3-dev libcli11-dev libasio-dev nlohmann-json3-dev
  libcpp-httplib-dev libpq-dev scdoc)
TEST_PACKAGES=("${BUILD_PACKAGES[@]}" libgtest-dev libbenchmark-dev clang-format abigail-tools groff-base doxygen
  mypy python3-setuptools python3-wheel zsh fish)
CLUSTER_PACKAGES=("${BUILD_PACKAGES[@]}" postgresql haproxy iproute2 util-linux python3)
PACKAGING_PACKAGES=(build-essential debhelper dh-python dpkg-dev fakeroot lintian rsync)

# Configures a preset. More options may follow its name.
configure() {
  local preset=$1 log=$BUILD/$1.configure.log
  mkdir -p "$BUILD"
  if ! cmake --preset "$preset" -B "$BUILD/$preset" "${@:2}" >"$log" 2>&1; then
    cat "$log" >&2
    fail "cmake could not configure the preset $preset"
  fi
}

# Builds targets of a preset, or all of it.
build() {
  local preset=$1 targets=()
  [ $# -eq 1 ] || targets=(--target "${@:2}")
  cmake --build "$BUILD/$preset" --parallel "$JOBS" "${targets[@]}"
}

# Prints the C++ files of the project, one per line. Without git, all in its folders.
source_files() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files --cached --others --exclude-standard -- '*.h' '*.cpp' '*.c' | sort
  else
    find include src tests bench fuzz examples -name '*.h' -o -name '*.cpp' -o -name '*.c' | sort
  fi
}

# Prints all files of the project, one per line. Without git, all but those of the build.
source_tree() {
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files --cached --others --exclude-standard
  else
    find . -path ./build -prune -o -type f -print
  fi
}
