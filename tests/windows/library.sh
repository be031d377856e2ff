#!/bin/bash
# Usage: library.sh DLL DEF FOLDER
# Users' programs in FOLDER, linked with the import library and without, work on a store through the DLL under $WINE; and
# neither they nor the DLLs in its folder need any library but those of the system, as $OBJDUMP lists them.

set -euo pipefail
dll=$1 def=$2 programs=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

expect() {
  local wanted=$1 got
  shift
  got=$("$@" | tr -d '\r')
  [ "$got" = "$wanted" ] && return
  printf '%s\nprinted:\n%s\nexpected:\n%s\n' "$*" "$got" "$wanted" >&2
  exit 1
}

for file in "${dll%/*}"/*.dll "$programs"/{late,c,cpp}_user.exe; do
  "$OBJDUMP" -p "$file" | sed -n 's/.*DLL Name: //p' | sort -fu >"$scratch/needed"
  if grep -vixE '(advapi32|kernel32|msvcrt|user32|version|ws2_32|tvlclient)\.dll' "$scratch/needed"; then
    echo "$file needs a library that is not part of the system" >&2
    exit 1
  fi
done
grep -q 'DLL Name: tvlclient.dll' <("$OBJDUMP" -p "$programs/c_user.exe")

cd "$scratch"
cp "$dll" "$programs"/{c,cpp}_user.exe .
expect "$(grep -c @ "$def") names, version $VERSION" "$WINE" "$programs/late_user.exe" "$dll" "$def"

mkdir -p store/tmp/{locks,procs} c_work cpp_work
printf '[TavolisFileSystem]\nDocumentRoot=Z:%s\n' "$scratch/store" >store/tvl.ini
echo "kept in the store" >store/a.txt
echo "from the program in C" >c_work/c.txt
expect $'1 a.txt\ntransferred 1' "$WINE" cpp_user.exe store/tvl.ini cpp_work
expect "transferred 1" "$WINE" c_user.exe store/tvl.ini c_work
cmp store/a.txt cpp_work/a.txt
cmp c_work/c.txt store/from/c.txt
cmp c_work/c.txt c_work/copy.txt
