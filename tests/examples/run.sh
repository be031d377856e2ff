#!/bin/bash
# Usage: run.sh LANGUAGE PLACE TVL
# Runs the examples of a language, whose programs are in PLACE, on a new store, and checks what they print and leave in
# it. Exit code 77, for a skipped test, if the language is missing.

set -euo pipefail
language=$1 place=$2 tvl=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
export TVL_CONFIG=store/tvl.ini

example() {
  local program=("$place/${language}_$1")
  if [ "$language" = python ]; then program=(python3 -W error "$place/$1.py"); fi
  "${program[@]}" "$TVL_CONFIG" "${@:2}"
}

# expect TEXT COMMAND...: the command prints this text and succeeds.
expect() {
  local printed
  if printed=$("${@:2}") && [ "$printed" = "$1" ]; then return; fi
  printf '%s\nprinted:\n%s\nexpected:\n%s\n' "${*:2}" "$printed" "$1" >&2
  exit 1
}

# expect_failure COMMAND...: the command reports a failure.
expect_failure() {
  if "$@" >/dev/null 2>message || [ ! -s message ]; then
    echo "$* reported no failure" >&2
    exit 1
  fi
}

try_transfer() {
  mkdir -p work/docs
  echo one >work/docs/a
  echo two >work/docs/b
  expect $'[1/2] docs/a: transferred\n[2/2] docs/b: transferred' example transfer work put docs/a docs/b
  expect '[1/1] docs/a: already the same' example transfer work put docs/a
  expect $'[1/2] docs/a: transferred\n[2/2] docs/b: transferred' example transfer other get docs/a docs/b
  diff -r work other
  expect_failure example transfer other get docs/a missing
}

# Without the lock, lines of writers that run at the same time would be lost.
try_locked_edit() {
  local writer
  for writer in 1 2 3 4 5 6; do example locked_edit "edit$writer" list "line $writer" & done
  wait
  expect "$(printf 'line %s\n' 1 2 3 4 5 6)" sort store/list
}

try_orders_table() {
  expect $'A1 12.50 is cancelled\nA2 7.00 is cancelled' example orders_table
  expect $'key1,number,total\nA1,A1,0\nA2,A2,0\nB1,B1,-3.20' \
    "$tvl" table export orders.dat --schema 'number-D8 total-F7.2'
}

# The order of a plan is that of the folders on the disk.
sorted_preview() { example sync_preview "$@" | LC_ALL=C sort; }

try_sync_preview() {
  local plan
  plan=$(printf '%s\n' "copy $PWD/mirror/docs/a" "delete $PWD/mirror/docs/extra" "folder $PWD/mirror/docs" \
    "keep $PWD/mirror/docs/b")
  mkdir -p mirror/docs
  cp -p work/docs/b mirror/docs
  echo extra >mirror/docs/extra
  expect "$plan" sorted_preview mirror docs
  [ ! -e mirror/docs/a ]
  expect "100% $PWD/store/docs/a"$'\n'"$plan" sorted_preview mirror docs --run
  cmp work/docs/a mirror/docs/a
  [ -e mirror/docs/extra ]
}

# Compression keeps the transfer busy for as long as the timer needs.
try_event_loop() {
  sed -i 's/ZipOnTransfert=0/ZipOnTransfert=1/' "$TVL_CONFIG"
  head -c 20000000 /dev/urandom >store/large
  example event_loop work large | grep -q '^[1-9][0-9]* events'
  cmp store/large work/large
}

try_csv_table() {
  local schema='customer-D8 total-F7.2'
  printf '%s\n' key,customer,total A1,Rossi,1.50 A2,Bianchi,-2.25 >in.csv
  example csv_table import customers "$schema" 6 in.csv
  example csv_table export customers "$schema" out.csv
  cmp in.csv out.csv
}

subjects=(transfer locked_edit orders_table sync_preview)
if [ "$language" = python ]; then
  python3 -c 'import sys; sys.exit(sys.version_info < (3, 11))' 2>/dev/null || {
    echo "Python 3.11 is not installed"
    exit 77
  }
  subjects+=(csv_table)
else
  subjects+=(event_loop)
fi
"$tvl" init store >/dev/null
for subject in "${subjects[@]}"; do
  "try_$subject"
done
