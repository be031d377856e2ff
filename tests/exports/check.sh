#!/bin/bash
# Usage: check.sh LIBRARY LIST [--update]
# Compares what a shared library exports with the checked-in list, or writes that list.

set -euo pipefail
library=$1 list=$2

# A DLL has no versions of symbols. It also exports the members of classes that TVL_HIDDEN hides elsewhere.
exported_by_dll() {
  grep '^[A-Z_]*_1$' "$list"
  "${OBJDUMP:-objdump}" -p "$library" | sed -n '/Name Pointer. Table/,/^$/s/^\t\[ *[0-9]*\] \(+base.*  *\)\?//p' | c++filt |
    awk 'NR == FNR { listed[$0]; next } !/::/ || $0 in listed' "$list" -
}

exported() {
  case $library in
    *.dll) exported_by_dll ;;
    *) nm -D --defined-only --format=posix "$library" | sed 's/[ @].*//' | c++filt ;;
  esac | LC_ALL=C sort -u
}

if [ "${3:-}" = --update ]; then
  exported >"$list"
  exit
fi

if ! diff -u --label "$list" --label "$library" "$list" <(exported); then
  cat >&2 <<MESSAGE
The library's exports and the checked-in list differ. A "-" means that programs linked against it lose a symbol.
If the change is wanted, bring the list up to date and commit it:
  $0 $library $list --update
MESSAGE
  exit 1
fi
