#!/bin/bash
# Usage: run.sh BUILD_FOLDER
# Installs what was built into a scratch prefix, builds users' programs against it by find_package and by pkg-config,
# in C++ and in C, and has them work on a store that the installed tvl made.

set -euo pipefail
build=$1
here=$(dirname "$(realpath "$0")")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
prefix=$scratch/prefix

expect() {
  local wanted=$1 got
  shift
  got=$("$@")
  [ "$got" = "$wanted" ] && return
  printf '%s\nprinted:\n%s\nexpected:\n%s\n' "$*" "$got" "$wanted" >&2
  exit 1
}

"$CMAKE" --install "$build" --prefix "$prefix" >install.log
library=$(find "$prefix" -name libtvlclient.so.1)
pkg_config_file=$(find "$prefix" -name tvlclient.pc)
export LD_LIBRARY_PATH=${library%/*} PKG_CONFIG_PATH=${pkg_config_file%/*}

command -v scdoc >/dev/null && ls "$prefix"/share/man/man1/tvl.1 "$prefix"/share/man/man[58]/tvl* >/dev/null

"$prefix/bin/tvl" init store >init.log
echo "kept in the store" >store/a.txt
mkdir c_work cpp_work pkg_work
echo "from the program in C" >c_work/c.txt

"$CMAKE" -S "$here/cpp_user" -B cpp_build -DCMAKE_PREFIX_PATH="$prefix" >configure.log
"$CMAKE" --build cpp_build >build.log

flags=$(pkg-config --cflags --libs tvlclient)
# shellcheck disable=SC2086 # flags are words
"$CXX" -std=c++20 "$here/cpp_user/main.cpp" -o pkg_user $flags
# shellcheck disable=SC2086
"$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror "$here/c_user/main.c" -o c_user $flags

for program in cpp_build/cpp_user pkg_user c_user; do
  readelf -d "$program" | grep -q 'NEEDED.*\[libtvlclient\.so\.1\]' || {
    echo "$program does not ask for libtvlclient.so.1" >&2
    exit 1
  }
done

found=$'1 a.txt\ntransferred 1'
expect "$found" cpp_build/cpp_user store/tvl.ini cpp_work
expect "$found" ./pkg_user store/tvl.ini pkg_work
expect "transferred 1" ./c_user store/tvl.ini c_work
cmp store/a.txt cpp_work/a.txt
cmp store/a.txt pkg_work/a.txt
cmp c_work/c.txt store/from/c.txt
cmp c_work/c.txt c_work/copy.txt

# A project that contains this one builds the library and its engine, and none of the programs.
mkdir around
cat >around/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(around LANGUAGES C CXX)
add_subdirectory($here/../.. tvlclient)
foreach(target tvl tvlserver engine_test)
  if(TARGET \${target})
    message(FATAL_ERROR "\${target} is built by a project that did not ask for it")
  endif()
endforeach()
add_executable(user $here/cpp_user/main.cpp)
target_link_libraries(user PRIVATE tvlclient::tvlclient)
add_dependencies(user vbctree)
END
"$CMAKE" -S around -B around_build >around.log || {
  cat around.log
  exit 1
}
