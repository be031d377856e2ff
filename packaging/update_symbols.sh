#!/bin/bash
# Usage: packaging/update_symbols.sh LIBRARY [--check]
# Rewrites packaging/debian/libtvlclient1.symbols: the symbols that the library exports, each with the version that brought it.
# Symbols that the list does not have get the current version. With --check, reports what would change instead.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
library=$1
list=packaging/debian/libtvlclient1.symbols
version=$(awk '/define TVLCLIENT_VERSION_[A-Z]+ [0-9]+$/ { printf "%s%s", dot, $3; dot = "." }' include/tvlclient/library_version.h)

known() { sed -n 's/^ \(.*@[A-Z_0-9]*"\{0,1\}\) \([0-9.]*\)$/\1\t\2/p' "$list" 2>/dev/null || true; }

exported() {
  nm -D --defined-only --format=posix --with-symbol-versions "$library" | sed 's/ .*//; s/@@/@/' | c++filt |
    sed 's/^\([A-Z_0-9]*\)$/\1@\1/; /[( :]/ s/^\(.*\)@\([A-Z_0-9]*\)$/(c++)"\1@\2"/' | LC_ALL=C sort -u
}

updated() {
  echo 'libtvlclient.so.1 libtvlclient1 #MINVER#'
  awk -F'\t' -v version="$version" 'NR == FNR { since[$1] = $2; next } { print " " $1 " " ($1 in since ? since[$1] : version) }' \
    <(known) <(exported)
}

if [ "${2:-}" = --check ]; then
  diff -u --label "$list" --label "$library" "$list" <(updated) && exit
  echo "If the change is wanted: packaging/update_symbols.sh $library" >&2
  exit 1
fi
updated >"$list.new"
mv "$list.new" "$list"
