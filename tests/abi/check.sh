#!/bin/bash
# Usage: check.sh LIBRARY BASELINE [--update HEADERS]
# Compares the interface of a library, as its debug information describes it, with that of the last release. Additions are
# fine; anything that a program linked against the last release could trip over is not. With --update, writes the baseline,
# which belongs into the commit of a release.

set -euo pipefail
library=$1 baseline=$2

if [ "${3:-}" = --update ]; then
  abidw --headers-dir "$4" --drop-private-types --no-show-locs --no-comp-dir-path --no-corpus-path \
    --exported-interfaces-only --no-elf-needed --type-id-style hash "$library" |
    sed "s:path='[^']*/\\(src\\|include\\)/:path='\\1/:" >"$baseline"
  exit
fi

# Not limited to the headers' types: abidiff 2.2 then overlooks changes of their classes.
abidiff --no-added-syms "$baseline" "$library"
